// Client is one kept connection to the collector: a request, its answer, the next request.
//
// Thread:   one at a time; post() blocks it.
// Lifetime: connects with the first request and whenever the connection is gone.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "crowd/Run.h"

namespace crowd {

// http:// or https://, a host and a port, nothing else.
struct Endpoint {
  bool secure = false;
  std::string host, port;
  std::string caFile;  // PEM; empty: the system's own

  [[nodiscard]] std::string authority() const;  // as the Host header has it
  static std::optional<Endpoint> parse(std::string_view url);
};

struct Request {
  std::string target;
  std::string_view body;
  std::string authorization;
  bool gzipped = true;
};

struct Answer {
  unsigned status = 0;
  std::string body;
};

class Client {
 public:
  Client(const Endpoint& endpoint, const Run& run);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Nothing when no answer came, for which failure() has the cause. A run that is stopped waits for a few seconds more.
  std::optional<Answer> post(const Request& request);
  [[nodiscard]] const std::string& failure() const;

 private:
  class Connection;
  std::unique_ptr<Connection> connection_;
};

}  // namespace crowd

// HttpClient asks other servers over HTTP or HTTPS: another collector, the warehouse. Nothing of the environment
// changes what it does: no proxies, no redirects, no passwords of other files.
//
// Thread:   any; each call has a connection of its own and blocks.
// Lifetime: longer than the calls.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

// There was no whole answer in time: why.
class HttpFailure : public std::runtime_error {
 public:
  explicit HttpFailure(const std::string& what) : std::runtime_error(what) {}
};

struct HttpAddress {
  bool isSecure = false;
  std::string host;
  std::string port;
  std::string prefix;  // of all paths: "", or "/..." without a slash at its end

  struct Ports {
    std::string_view plain = "80", secure = "443";
  };
  // http(s)://HOST[:PORT][/PREFIX]; `ports`: where none is named. Throws HttpFailure with what is wrong.
  static HttpAddress read(std::string_view url, const Ports& ports);
  static HttpAddress read(std::string_view url) { return read(url, Ports()); }
};

struct HttpRequest {
  std::string target;                         // behind the address's prefix
  std::vector<std::string> fields = {};       // "Name: value"
  std::optional<std::string_view> body = {};  // POST with one, GET without; it must outlive the call
  std::chrono::milliseconds limit{};          // of it all
};

struct HttpAnswer {
  int status = 0;
  std::string body;  // at most 64 MiB
};

class HttpClient {
 public:
  // `caFile`: certificates to trust, PEM, in place of the system's; "": the system's.
  explicit HttpClient(HttpAddress address, std::string caFile = "")
      : address_(std::move(address)), caFile_(std::move(caFile)) {}

  // Throws HttpFailure.
  [[nodiscard]] HttpAnswer ask(const HttpRequest& request) const;
  // What is under way fails at once, and what comes later.
  void giveUp() { end_.request_stop(); }

 private:
  const HttpAddress address_;
  const std::string caFile_;
  std::stop_source end_;
};

}  // namespace collector

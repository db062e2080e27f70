// Server speaks HTTP or HTTPS with the collector's clients. One request a connection: a client that lost its way in a
// request can't spoil the next one.
//
// Thread:   listen() and stop() from any; the requests run on threads of its own.
// Lifetime: stops itself when it goes away. What it was given has to live longer.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "collector/Collector.h"
#include "collector/Limits.h"
#include "collector/Tls.h"

namespace collector {

class Server {
 public:
  using Log = std::function<void(const std::string& line)>;  // called from many threads

  Server(Collector& collector, TlsContext tls, Log log, const Limits& limits = {});
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Port 0 takes a free one. The port that it listens on, or absent when it can't. From here on clients are served.
  std::optional<int> listen(const std::string& host, int port);
  // Accepts nobody any more, answers what has been asked and ends.
  void stop();

 private:
  class Front;
  std::unique_ptr<Front> front_;
};

}  // namespace collector

// Server is the collector's HTTP or HTTPS server. It keeps connections open, answers the requests of each in their
// order, and bounds what clients may cost in time, in connections and in memory.
//
// Thread:   any; connections are served on one thread of its own, where the handler and the log are called.
// Lifetime: stops itself when it goes away.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "collector/front/Handler.h"
#include "collector/front/Settings.h"
#include "collector/front/Tally.h"
#include "collector/front/Tls.h"

namespace collector::front {

class Server {
 public:
  explicit Server(Handler& handler, Settings settings = {});
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Once. Port 0 takes a free one. The port that it listens on; from here on clients are served. Throws
  // std::runtime_error with what is wrong.
  int listen(const std::string& host, int port);
  // For connections to come; those that are open keep theirs.
  void renewTls(TlsContext tls);
  // Takes no connection any more, has the requests answered that were read whole and closes all others, streams
  // included. Returns within `Limits::stop`.
  void stop();

  [[nodiscard]] const Tally& tally() const;

 private:
  class Core;
  std::shared_ptr<Core> core_;
  std::thread serving_;
};

}  // namespace collector::front

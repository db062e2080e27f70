// A ClickHouse of the tests' own: on loopback, in a folder of its own, with small caches. It can be killed and started
// again where it was.
//
// Thread:   the test's.
// Lifetime: the destructor kills the server.
#pragma once

#include <optional>
#include <string>

#include "collector/warehouse/ClickHouse.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace collector {

class WarehouseServer {
 public:
  WarehouseServer();

  void start();           // and wait until it answers
  void kill(int signal);  // SIGKILL ends it, SIGSTOP and SIGCONT don't
  [[nodiscard]] std::string url(const std::string& database) const;
  [[nodiscard]] WarehouseAddress address(const std::string& database) const {
    return WarehouseAddress::read(url(database));
  }

  static constexpr const char* kUser = "keeper";
  static constexpr const char* kPassword = "it's \"secret\"";
  static constexpr const char* kReader = "reader";  // may change nothing; no password

 private:
  TemporaryFolder folder_;
  int port_;
  std::optional<ChildProcess> process_;
};

}  // namespace collector

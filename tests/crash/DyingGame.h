// A game that dies, in a process of its own, with a collector; more of them on the same data.
//
// Thread:   the test's.
// Lifetime: one a test or case. Its folder and its collector outlive the processes.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Game.h"
#include "support/LoopbackServer.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"

struct DyingGame {
  explicit DyingGame(std::string cause, std::string detail = {},
                     LoopbackServer::Security security = LoopbackServer::Security::plain)
      : server(security), cause_(std::move(cause)), detail_(std::move(detail)) {}

  // The command of a game on these data.
  std::vector<std::string> command(const std::string& cause, const std::string& detail = {}) const {
    return {ZORVANE_DYING_GAME,
            server.protocol(),
            std::to_string(server.port()),
            server.caFile(),
            folder.file("data"),
            cause,
            detail};
  }
  int endOfAnother(const std::string& cause, const std::string& detail = {}) const {
    return ChildProcess(folder.path(), command(cause, detail)).wait();
  }

  void start() { process.emplace(folder.path(), command(cause_, detail_)); }
  int end() {
    if (!process) start();
    return process->wait();
  }
  void waitFor(const std::string& line) const {
    while (process->errors().find(line) == std::string::npos && process->output().find(line) == std::string::npos)
      std::this_thread::yield();
  }

  // The critical error events that the collector was sent.
  std::vector<ZVMap> sentEvents() const {
    std::vector<ZVMap> events = Game::sentTo(server, "error");
    std::erase_if(events, [](const ZVMap& event) { return shown(event, "severity") != "critical"; });
    return events;
  }
  std::vector<std::string> sent() const {
    std::vector<std::string> messages;
    for (const ZVMap& event : sentEvents()) messages.push_back(shown(event, "message"));
    return messages;
  }
  std::size_t stored(const std::string& category) const {
    return countRows(database(), "SELECT COUNT(*) FROM zv_events WHERE category = '" + category + "'");
  }
  std::string database() const { return folder.file("data/zorvane.sqlite"); }

  TemporaryFolder folder;
  LoopbackServer server;
  std::optional<ChildProcess> process;

 private:
  std::string cause_;
  std::string detail_;
};

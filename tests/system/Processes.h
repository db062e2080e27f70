// The collector as a process of its own.
//
// Thread: the test's. What fails throws.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

#include "support/ChildProcess.h"
#include "support/Game.h"
#include "support/TemporaryFolder.h"

// A collector that runs, with what it has received.
class RunningCollector {
 public:
  // Takes what Game::kKey reports. `more`: options besides its own. A later one in the same folder goes on with the
  // same database.
  explicit RunningCollector(const TemporaryFolder& folder, const std::vector<std::string>& more = {});

  [[nodiscard]] const std::string& url() const { return url_; }
  [[nodiscard]] const std::string& database() const { return database_; }
  [[nodiscard]] ChildProcess& process() { return *process_; }

  // As its database has them, in the order of their arrival.
  [[nodiscard]] std::vector<std::string> recordTexts() const;
  [[nodiscard]] std::vector<ZVMap> records(std::string_view category) const;

  // The answer's rows.
  [[nodiscard]] ZVValue::Array ask(const std::string& question, const std::string& parameters = {},
                                   const std::string& game = Game::kKey) const;
  [[nodiscard]] std::map<std::string, std::int64_t> categories() const;           // how many events of each
  [[nodiscard]] std::string refused(const std::string& game = Game::kKey) const;  // what, and why; "[]"
  [[nodiscard]] std::int64_t metric(const std::string& name) const;               // "events_total"

 private:
  [[nodiscard]] std::string get(const std::string& path) const;

  const std::string database_;
  std::optional<ChildProcess> process_;
  std::string url_;
};

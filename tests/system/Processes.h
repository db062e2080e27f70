// The collector and the player as processes of their own.
//
// Thread: the test's.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

// A collector that runs, with what it has received.
class RunningCollector {
 public:
  // `more`: options besides its own.
  explicit RunningCollector(const TemporaryFolder& folder, const std::vector<std::string>& more = {});

  [[nodiscard]] const std::string& url() const { return url_; }
  [[nodiscard]] std::vector<ZVMap> records(std::string_view category) const;
  [[nodiscard]] ZVMap summary() const;

 private:
  [[nodiscard]] ZVValue get(const std::string& path) const;

  std::unique_ptr<ChildProcess> process_;
  std::string url_;
};

// A player of `recording`, whose data lie in `data`.
struct Player {
  const TemporaryFolder& folder;
  std::string collectorUrl;
  std::string data = "data";

  [[nodiscard]] std::string database() const;
  [[nodiscard]] std::unique_ptr<ChildProcess> start(const std::string& recording,
                                                    ChildProcess::Limits limits = {}) const;
};

// The lines that bring a session up, and those of `count` design events "n:FIRST", "n:FIRST+1", …
std::string initialising();
std::string designs(int first, int count);

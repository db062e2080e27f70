// The collector as a process of its own.
//
// Thread: the test's.
#pragma once

#include <optional>
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

  std::optional<ChildProcess> process_;
  std::string url_;
};

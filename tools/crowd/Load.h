// Load sends batches that were made and packed beforehand, as fast as the collector takes them over a number of
// connections, and measures. Every record is there once.
//
// Thread: both calls use threads of their own, one a connection, and return when they are done.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "crowd/Run.h"
#include "crowd/Settings.h"
#include "crowd/Truth.h"

namespace crowd {

struct LoadFigures {
  double seconds = 0;     // from the first request to the last answer
  double cpuSeconds = 0;  // of this process, meanwhile
  std::int64_t events = 0, requests = 0;
  double median = 0, p99 = 0, longest = 0;  // milliseconds, of a request
};

class Load {
 public:
  Load(const Settings& settings, Run& run) : settings_(settings), run_(run) {}

  // Makes the batches; `truth` counts them if the run is to write it.
  void prepare(Truth& truth);
  LoadFigures run();
  // Between the two calls.
  [[nodiscard]] const std::vector<Package>& packages() const { return packages_; }

 private:
  void make(Truth& truth);

  const Settings& settings_;
  Run& run_;
  std::atomic<std::uint32_t> nextPlayer_{0};
  std::atomic<std::int64_t> made_{0};
  std::mutex guard_;
  std::vector<Package> packages_;     // guarded by guard_ while they are made
  std::vector<double> milliseconds_;  // guarded by guard_
};

}  // namespace crowd

// Deletes what is older than it is to be kept, in small steps between which others write.
//
// Thread:   one of its own.
// Lifetime: shorter than the archive's.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

#include "collector/archive/Store.h"

namespace collector {

class Retention {
 public:
  struct Rule {
    std::int64_t days = 0;
    // The number of the last event that may go: one that waits to be handed on stays.
    std::function<std::int64_t(sqlite3* database)> last;
    std::chrono::milliseconds between = std::chrono::minutes(1);
  };
  Retention(Store& archive, Rule rule);
  ~Retention();
  Retention(const Retention&) = delete;
  Retention& operator=(const Retention&) = delete;

 private:
  void work();
  bool step();  // true when there is nothing left to delete
  void pruneNamesInTime();
  bool pause(std::chrono::milliseconds length);

  Store& archive_;
  const Rule rule_;
  std::mutex guard_;
  std::condition_variable ended_;
  bool ending_ = false;                              // guarded by guard_
  std::chrono::steady_clock::time_point nextNames_;  // the thread's own
  std::thread thread_;
};

}  // namespace collector

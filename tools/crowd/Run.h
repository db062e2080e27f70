// Run is what the threads of one run share: whether to stop, what has been sent, and what went wrong.
//
// Thread: any, every member.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace crowd {

class Run {
 public:
  // Ends the run with a failure. The first few different reasons are kept.
  void fail(std::string reason);
  [[nodiscard]] std::vector<std::string> failures() const;
  [[nodiscard]] bool failed() const { return failed_; }

  // Set by SIGINT and SIGTERM as well, once they are caught.
  void stop() { stopping_ = true; }
  [[nodiscard]] bool stopping() const { return stopping_; }
  // Waits, but not for longer than it takes to be stopped; false: it was.
  bool waitUntil(std::chrono::steady_clock::time_point time) const;

  void catchSignals();

  struct Counters {
    std::atomic<std::int64_t> events{0}, requests{0}, inits{0}, bytes{0};  // answered
    std::atomic<std::int64_t> repeated{0};                                 // requests whose answer didn't come
    std::atomic<std::int64_t> refused{0}, unacknowledged{0};               // records
  } counters;
  std::atomic<std::int64_t> reached{0};  // the time that a history has come to; 0: it plays none

 private:
  std::atomic<bool> stopping_{false}, failed_{false};
  mutable std::mutex guard_;
  std::vector<std::string> failures_;  // guarded by guard_
};

}  // namespace crowd

// The session and what the library may do: whether it is initialised, enabled and paused.
//
// Paused is one state with two readers. The game's calls and the application's notifications change it at once, on any
// thread, and it is what they are answered by: `hasPaused()`. The work queue follows in the order of the calls, so that
// what was reported before a pause is still taken: `isPaused()`, which is the work queue's alone.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "values/Counter.h"

namespace zorvane {

// Counted across runs. Work queue.
class CountedNumber {
 public:
  [[nodiscard]] std::int64_t value() const { return value_.value_or(0); }
  void increment() { value_ = successor(value()); }
  // What an earlier run left. False: this run has counted already, and its number stays.
  bool adopt(std::int64_t stored) {
    if (value_) return false;
    value_ = stored;
    return true;
  }

 private:
  std::optional<std::int64_t> value_;
};

class Session {
 public:
  // Any thread.
  [[nodiscard]] bool hasPaused() const noexcept { return paused_; }
  [[nodiscard]] bool isInitialized() const noexcept { return initialized_; }
  [[nodiscard]] bool isEnabled() const noexcept { return authorized_; }
  // True for one of the callers that pause at the same time.
  bool pause() noexcept { return !paused_.exchange(true); }

  // Work queue.
  [[nodiscard]] bool isPaused() const { return pausedOnQueue_; }
  void setPaused(bool paused) { pausedOnQueue_ = paused_ = paused; }
  void followPause() { pausedOnQueue_ = paused_; }  // not when a resume has overtaken this pause
  void setInitialized() { initialized_ = true; }
  void setEnabled(bool enabled) { authorized_ = enabled; }

  void begin(std::string id, std::string start) {
    id_ = std::move(id);
    start_ = std::move(start);
  }
  [[nodiscard]] const std::optional<std::string>& id() const { return id_; }  // absent before the first one
  [[nodiscard]] const std::string& start() const { return start_; }

  CountedNumber number;
  CountedNumber transactions;

  void setFirstOfInstallation(bool first) { isFirstOfInstallation_ = first; }
  bool takeFirstOfInstallation() { return std::exchange(isFirstOfInstallation_, false); }

 private:
  std::atomic<bool> paused_{true};
  std::atomic<bool> initialized_{false};
  std::atomic<bool> authorized_{false};
  bool pausedOnQueue_ = true;
  std::optional<std::string> id_;
  bool isFirstOfInstallation_ = false;
  std::string start_;  // whole seconds, as decimal text
};

}  // namespace zorvane

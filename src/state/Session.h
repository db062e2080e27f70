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

namespace zorvane {

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

  // Counted across runs; absent until they are known.
  std::optional<std::int64_t> number;
  std::optional<std::int64_t> transactions;
  bool isFirstOfInstallation = false;

 private:
  std::atomic<bool> paused_{true};
  std::atomic<bool> initialized_{false};
  std::atomic<bool> authorized_{false};
  bool pausedOnQueue_ = true;
  std::optional<std::string> id_;
  std::string start_;  // whole seconds, as decimal text
};

}  // namespace zorvane

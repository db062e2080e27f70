/// @file
/// ZVTimer runs a task after an interval, once or repeatedly, on the thread that scheduled it.
///
/// - Thread: scheduling on any. The main loop's thread runs its timers by itself; any other thread has no loop and
///   calls servePending() regularly, a game every frame. invalidate() and isValid() on any thread.
/// - Lifetime: the thread keeps its timers until their last run; they are destroyed when the thread ends.
/// - Errors: what the task throws is logged and swallowed.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include <zorvane/ZVExport.h>
#include <zorvane/ZVTypes.h>

/// A task with its interval. Its threads and lifetime: ZVTimer.h.
class ZORVANE_API ZVTimer {
 public:
  using Task = std::function<void()>;  ///< what a timer runs

  /// `seconds`: from now, and from each run to the next; 0 and less: at the next opportunity. `task`: an empty one
  /// makes a timer that does nothing. Null where the library can't run, in a forked child.
  static std::shared_ptr<ZVTimer> scheduledTimerWithTimeInterval(double seconds, Task task, ZVFlag repeats) noexcept;
  /// Runs what is due of the calling thread's timers.
  static void servePending() noexcept;

  /// Stops the timer; its task goes at once, with all that it owns. Called on the timer's own thread, no run begins
  /// afterwards; on another, one may be under way.
  void invalidate() noexcept;
  /// Whether a run is still to come.
  bool isValid() const noexcept { return valid_; }

 private:
  ZVTimer(double seconds, Task task, bool repeats);
  static void schedule(const std::shared_ptr<ZVTimer>& timer);
  static void fire(const std::shared_ptr<ZVTimer>& timer);

  const double seconds_;
  const bool repeats_;
  std::atomic<bool> valid_{true};
  std::mutex guard_;
  std::shared_ptr<const Task> task_;  // guarded by guard_; null once the timer is invalid
};

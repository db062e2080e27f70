// A task that runs after an interval, once or again and again, on the thread that scheduled it.
//
// Thread:   scheduling on any. The main loop's thread serves its timers by itself; any other has no loop of its own
//           and calls servePending() now and then, a game every frame. invalidate() and isValid() from any thread.
// Lifetime: a timer that is due again keeps itself; a thread's timers go when the thread ends.
// Errors:   what the task throws is logged and swallowed.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <zorvane/ZVExport.h>

class ZORVANE_API ZVTimer {
 public:
  using Task = std::function<void()>;  // what a timer runs

  // `seconds`: from now, and from each run to the next; 0 and less: as soon as the thread serves. `task`: an empty one
  // makes a timer that does nothing. Null where the library can't run, in a forked child.
  static std::shared_ptr<ZVTimer> scheduledTimerWithTimeInterval(double seconds, Task task, bool repeats) noexcept;
  // Runs what is due of the calling thread's timers.
  static void servePending() noexcept;

  // No run begins after this has returned on the timer's own thread.
  void invalidate() noexcept { valid_ = false; }
  // Whether a run is still to come.
  bool isValid() const noexcept { return valid_; }

 private:
  ZVTimer(double seconds, Task task, bool repeats);
  static void schedule(std::shared_ptr<ZVTimer> timer);
  static void fire(const std::shared_ptr<ZVTimer>& timer);

  const double seconds_;
  const Task task_;
  const bool repeats_;
  std::atomic<bool> valid_{true};
};

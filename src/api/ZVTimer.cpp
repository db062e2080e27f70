#include <zorvane/ZVTimer.h>

#include <utility>

#include "api/frame.h"
#include "platform/Platform.h"

using namespace zorvane;

namespace {

// The loop of a thread that has none: it is pumped by servePending().
ZVPumpedMainLoop& loopOfThisThread() {
  thread_local ZVPumpedMainLoop loop;
  return loop;
}

}  // namespace

ZVTimer::ZVTimer(double seconds, Task task, bool repeats)
    : seconds_(seconds), repeats_(repeats), task_(std::make_shared<const Task>(std::move(task))) {}

void ZVTimer::invalidate() noexcept {
  valid_ = false;
  std::shared_ptr<const Task> task;  // destroyed without the lock: what it owns may call in here
  const std::scoped_lock lock(guard_);
  task.swap(task_);
}

std::shared_ptr<ZVTimer> ZVTimer::scheduledTimerWithTimeInterval(double seconds, Task task, ZVFlag repeats) noexcept {
  std::shared_ptr<ZVTimer> timer;
  call([&] {
    struct Made final : ZVTimer {  // the constructor is private
      Made(double interval, Task work, bool again) : ZVTimer(interval, std::move(work), again) {}
    };
    timer = std::make_shared<Made>(seconds, std::move(task), repeats);
    schedule(timer);
  });
  return timer;
}

void ZVTimer::servePending() noexcept {
  call([] { loopOfThisThread().pump(); });
}

// What the loop keeps until the timer is due is little, once the task is gone.
void ZVTimer::schedule(const std::shared_ptr<ZVTimer>& timer) {
  ZVMainLoop& mainLoop = *platform().mainLoop;
  ZVMainLoop& loop = mainLoop.isMainThread() ? mainLoop : loopOfThisThread();
  loop.scheduleTimer(timer->seconds_, [timer] { fire(timer); });
}

void ZVTimer::fire(const std::shared_ptr<ZVTimer>& timer) {
  std::shared_ptr<const Task> task;  // kept while it runs, which may invalidate the timer
  {
    const std::scoped_lock lock(timer->guard_);
    task = timer->task_;
  }
  if (task == nullptr) return;
  if (timer->repeats_) schedule(timer);
  else timer->invalidate();
  if (*task) (*task)();
}

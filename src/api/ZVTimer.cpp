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
    : seconds_(seconds), task_(std::move(task)), repeats_(repeats) {}

std::shared_ptr<ZVTimer> ZVTimer::scheduledTimerWithTimeInterval(double seconds, Task task, bool repeats) noexcept {
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

void ZVTimer::schedule(std::shared_ptr<ZVTimer> timer) {
  ZVMainLoop& mainLoop = *platform().mainLoop;
  ZVMainLoop& loop = mainLoop.isMainThread() ? mainLoop : loopOfThisThread();
  const double seconds = timer->seconds_;
  loop.scheduleTimer(seconds, [timer = std::move(timer)] { fire(timer); });
}

void ZVTimer::fire(const std::shared_ptr<ZVTimer>& timer) {
  if (!timer->valid_) return;
  if (timer->repeats_) schedule(timer);
  else timer->invalidate();
  if (timer->task_) timer->task_();
}

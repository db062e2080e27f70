#include <zorvane/ZVTimer.h>
#include <zorvane/Zorvane.h>
#include <zorvane/zorvane_c.h>

#include <memory>
#include <utility>

#include "capi/guard.h"
#include "capi/host.h"

using namespace zorvane;

struct zorvane_timer {
  std::shared_ptr<ZVTimer> timer;
  std::shared_ptr<HostFunctions> functions = std::make_shared<HostFunctions>();  // its task
};

void zorvane_start_timer(const char* key) { Zorvane::startTimer(key); }
void zorvane_pause_timer(const char* key) { Zorvane::pauseTimer(key); }
void zorvane_resume_timer(const char* key) { Zorvane::resumeTimer(key); }
int64_t zorvane_stop_timer(const char* key) { return Zorvane::stopTimer(key); }

zorvane_timer* zorvane_timer_schedule(double seconds, void (*task)(void* user), void* user, bool repeats) {
  return guarded([=]() -> zorvane_timer* {
    auto handle = std::make_unique<zorvane_timer>();  // first: a timer that is scheduled can't be lost any more
    ZVTimer::Task run;
    if (task != nullptr)
      run = [task, user, functions = handle->functions] {
        // Kept by a copy: the task may destroy its timer, and this with it.
        std::shared_ptr(functions)->call([&] { task(user); });
      };
    handle->timer = ZVTimer::scheduledTimerWithTimeInterval(seconds, std::move(run), repeats);
    return handle->timer != nullptr ? handle.release() : nullptr;
  });
}

bool zorvane_timer_is_valid(const zorvane_timer* timer) { return timer != nullptr && timer->timer->isValid(); }

void zorvane_timer_destroy(zorvane_timer* timer) {
  if (timer == nullptr || isForkedChild()) return;
  timer->timer->invalidate();
  timer->functions->detach();
  delete timer;
}

void zorvane_timers_serve(void) { ZVTimer::servePending(); }

#include <zorvane/Zorvane.h>

#include "api/frame.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"

using namespace zorvane;

void Zorvane::startSession() noexcept {
  call([] {
    if (ZVState::isManualSessionHandling()) ZVEvents::resumeSDKAndStartSession();
    else ZVLogger::w(0, "Could not manually start a session as manual session handling is not enabled.");
  });
}

void Zorvane::endSession() noexcept {
  call([] {
    if (ZVState::isManualSessionHandling()) ZVEvents::pauseSDKAndEndSession();
    else ZVLogger::w(0, "Could not manually end the session as manual session handling is not enabled.");
  });
}

void Zorvane::flush() noexcept {
  call([] {
    ZVThreading::performTaskOnZVThreadInBackgroundWithBlock([] {
      constexpr const char* kRefusal = "Could not flush events";
      if (!isSdkReadyWithNeedsInitialized(true, true, kRefusal)) return;
      if (ZVState::isEventSubmissionEnabled()) ZVEvents::processEventsWithCategory({}, true);
      else ZVLogger::w(0, "{}: Event submission is disabled", kRefusal);
    });
  });
}

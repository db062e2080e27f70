// The session's life: how it starts and ends by the game's calls and the application's way to the background and back.
#include <zorvane/ZVNotificationCenter.h>

#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"

namespace zorvane {

namespace {

// A start that fails, for want of memory, leaves the library paused: what is reported must not join the session that
// has ended.
void startOrStayPaused() {
  try {
    ZVState::setSDKPausedFlag(false);
    ZVEvents::startNewSession();
  } catch (...) {
    ZVState::setSDKPausedFlag(true);
    throw;
  }
}

void resumeOnQueue() {
  startOrStayPaused();
  if (!ZVState::isEnabled()) {
    ZVLogger::w(0, "SDK is disabled - cannot resume SDK.");
    return;
  }
  ZVLogger::i(0, "Resuming SDK (starting event queue).");
  ZVEvents::restartEventQueueIfStopped();
}

void headToBackground() {
  ZVLogger::i(0, "Status change: headingToBackground. Will pause SDK and end session.");
  ZVEvents::pauseSDKAndEndSession();
}

void headToForeground() {
  ZVLogger::i(0, "Status change: headingToForeground. Will try to resume SDK and start a new session.");
  ZVEvents::resumeSDKAndStartSession();
}

}  // namespace

ZVEvents::ZVEvents()
    : backgroundObserver_(ZVNotificationCenter::addObserver(kDidEnterBackgroundNotification,
                                                            [](const ZVNotification&) { headToBackground(); })),
      foregroundObserver_(ZVNotificationCenter::addObserver(kWillEnterForegroundNotification,
                                                            [](const ZVNotification&) { headToForeground(); })) {}

ZVEvents::~ZVEvents() {
  ZVNotificationCenter::removeObserver(backgroundObserver_);
  ZVNotificationCenter::removeObserver(foregroundObserver_);
}

void ZVEvents::startNewSession() {
  if (!ZVState::isInitialized()) {
    ZVLogger::w(0, "Cannot start new session as SDK is not initialized.");
    return;
  }
  ZVState::prepareSession();
  if (ZVState::isEnabled()) {
    ZVState::beginSession();
    addSessionStartEvent();
    return;
  }
  ZVLogger::w(0, "Could not start session: SDK is disabled.");
  stopEventQueue();
  sharedInstance().restartEventQueue_ = true;
}

void ZVEvents::pauseSDKAndEndSession() {
  if (ZVState::hasPaused()) {
    ZVLogger::w(0, "SDK is already paused. Cannot pause SDK and end session.");
    return;
  }
  if (platform().television) platform().userDefaults->synchronize();
  if (!ZVState::isEnabled()) {
    ZVLogger::w(0, "SDK is disabled - cannot pause SDK and end session.");
    return;
  }
  if (!ZVState::pause()) return;  // another thread was quicker
  ZVLogger::i(0, "Pausing SDK (stopping event queue) and adding session end event.");
  if (isEventQueueTimerArmed()) {
    sharedInstance().restartEventQueue_ = true;
    stopEventQueue();
  }
  ZVThreading::performTaskOnZVThreadInBackgroundWithBlock([] {
    ZVState::followPause();
    addSessionEndEvent();
  });
}

void ZVEvents::resumeSDKAndStartSession() {
  if (!ZVState::hasPaused()) {
    ZVLogger::i(0, "Active session in progress. Ending current session and starting new.");
    pauseSDKAndEndSession();
  }
  ZVThreading::performTaskOnZVThreadWithBlock([] { resumeOnQueue(); });
}

}  // namespace zorvane

#include <zorvane/ZVCrashReporting.h>
#include <zorvane/Zorvane.h>

#include "api/frame.h"
#include "crash/left_behind.h"
#include "device/ZVDevice.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "validation/ZVValidator.h"

using namespace zorvane;

namespace {

bool internalInitialize() {
  if (!ZVStore::sharedInstance().tableReady) return false;
  ZVDevice::clearCachedResults();
  return ZVState::ensurePersistedStates();
}

void initializeAfterGameKeysAreSet() {
  ZVStore::reportDamage();
  if (!internalInitialize()) return;  // the database's failure was reported when it happened
  ZVState::generateRandomUserIdIfNeeded();
  ZVState::setInitialized();
  const bool hasCrashed = reportCrashesLeftBehind();
  ZVState::setSDKPausedFlag(false);
  ZVEvents::startNewSession();
  if (!ZVState::isEnabled()) return;
  // At once: a game that crashes again within seconds would never come to it.
  if (hasCrashed) ZVEvents::processEventsWithCategory("error", false);
  ZVEvents::startEventQueueUnlessPaused();
}

// Only a library that is ready in every respect refuses: one that was disabled or paused runs the sequence again.
bool isInitializedAlready() {
  if (!isSdkReadyWithNeedsInitialized(true, false)) return false;
  ZVLogger::w(0, "SDK already initialized. Can only be called once.");
  return true;
}

}  // namespace

Zorvane& Zorvane::sharedInstance() noexcept {
  static constinit Zorvane instance;
  return instance;
}

void Zorvane::initializeWithGameKey(ZVText gameKey, ZVText gameSecret) noexcept {
  post([&] {
    return [key = gameKey.copy(), secret = gameSecret.copy()] {
      if (isInitializedAlready()) return;
      if (ZVDevice::isTestflightBuild()) ZVLogger::w(0, "This is a TestFlight install.");
      setZVUncaughtExceptionHandlers();  // before the keys are looked at: a game with wrong ones has them too
      if (!ZVValidator::validateKeysWithGameKey(key, secret)) {
        ZVLogger::w(0,
                    "SDK failed initialize. Game key or secret key is invalid. Can only contain characters A-z 0-9, "
                    "gameKey is 32 length, gameSecret is 40 length. Failed keys - gameKey: {}, secretKey: {}",
                    ZVText(key), ZVText(secret));
        return;
      }
      ZVState::setKeysWithGameKey(key, secret);
      initializeAfterGameKeysAreSet();
    };
  });
}

void Zorvane::initializeWithConfiguredGameKeyAndGameSecret() noexcept {
  post([] {
    return [] {
      if (isInitializedAlready()) return;
      setZVUncaughtExceptionHandlers();
      if (ZVState::getGameKey().empty() || ZVState::getGameSecret().empty()) {
        ZVLogger::w(0, "Cannot initialize - game key and secret key not configured before call.");
        return;
      }
      initializeAfterGameKeysAreSet();
    };
  });
}

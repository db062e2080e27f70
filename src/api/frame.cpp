#include "api/frame.h"

#include <exception>

#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"

namespace zorvane {

namespace {

// Why the library isn't ready; null when it is.
const char* unreadiness(bool needsInitialized) {
  if (!ZVStore::sharedInstance().tableReady) return "Datastore not initialized";
  if (!needsInitialized) return nullptr;
  if (!ZVState::isInitialized()) return "SDK is not initialized";
  if (!ZVState::isEnabled()) return "SDK is disabled";
  return ZVState::isSDKPaused() ? "SDK is paused" : nullptr;
}

}  // namespace

bool isSdkReadyWithNeedsInitialized(bool needsInitialized, bool warn, ZVText message) {
  const char* reason = unreadiness(needsInitialized);
  if (reason == nullptr) return true;
  if (warn) ZVLogger::w(0, "{}{}{}", message.view(), message.present() ? ": " : "", reason);
  return false;
}

void logFailedCall() noexcept {
  try {
    throw;
  } catch (const std::exception& failure) {
    ZVLogger::e(0, "A call failed: {}", failure.what());
  } catch (...) {
    ZVLogger::e(0, "A call failed");
  }
}

}  // namespace zorvane

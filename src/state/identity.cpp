#include "codecs/ZVHelpers.h"
#include "device/ZVDevice.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "validation/ZVValidator.h"

namespace zorvane {

namespace {

constexpr std::string_view kLastUsedIdentifierKey = "zv_last_used_identifier";

bool isUsable(const std::optional<std::string>& identifier) {
  return identifier && *identifier != ZVDevice::kZeroIdentifier;
}

std::string use(std::string_view how, const std::string& identifier) {
  ZVLogger::d(0, "getUserId: Using {}", how);
  ZVState::updateLastUsedIdentifier(identifier);
  return identifier;
}

}  // namespace

std::string ZVState::getUserId() {
  const ZVState& state = sharedInstance();
  if (state.customUserId) return use("custom user id", *state.customUserId);
  if (state.randomUserId && (ZVDevice::isTestflightBuild() || ZVDevice::isZeroIdfa() || ZVDevice::isZeroIdfv()))
    return use("random user id", *state.randomUserId);
  if (!state.idfa) cacheIdfaAndIdfv();
  if (state.useIdfv && state.idfv) return use("idfv", *state.idfv);
  if (isUsable(state.idfa)) return use("idfa", *state.idfa);
  if (isUsable(state.idfv)) return use("idfv", *state.idfv);
  return "";
}

void ZVState::generateRandomUserIdIfNeeded() {
  ZVState& state = sharedInstance();
  // In this order: what the device is asked for is logged, so it is asked for no more than is needed.
  if ((state.useIdfv && !ZVDevice::isZeroIdfv()) || (!ZVDevice::isTestflightBuild() && !ZVDevice::isZeroIdfa()) ||
      !ZVDevice::isZeroIdfv()) {
    state.randomUserId.reset();
    return;
  }
  if (state.randomUserId) {
    ZVLogger::d(0, "Cached user_id detected (due to testflight or zero-idfa).");
    if (ZVValidator::validateString(state.randomUserId)) {
      ZVLogger::d(0, "Will not generate user_id: already a valid (cached) present.");
      return;
    }
  }
  state.randomUserId = ZVHelpers::generateUUID();
  ZVStore::persistStateRandomUserId(state.randomUserId);
  ZVLogger::i(0, "Generate and persist new user_id (due to Testflight or zero-idfa detected): {}", *state.randomUserId);
}

void ZVState::cacheIdfaAndIdfv() {
  sharedInstance().idfa = ZVDevice::idfa();
  sharedInstance().idfv = ZVDevice::idfv();
}

std::optional<std::string> ZVState::getLastUsedIdentifier() {
  return platform().userDefaults->stringForKey(kLastUsedIdentifierKey);
}

void ZVState::updateLastUsedIdentifier(ZVText identifier) {
  ZVUserDefaults& defaults = *platform().userDefaults;
  defaults.setString(kLastUsedIdentifierKey, identifier.view());
  defaults.synchronize();
}

}  // namespace zorvane

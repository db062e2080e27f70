#include "codecs/uuids.h"
#include "device/ZVDevice.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "state/Records.h"
#include "store/ZVStore.h"
#include "validation/ZVValidator.h"

namespace zorvane {

namespace {

constexpr std::string_view kLastUsedIdentifierKey = "zv_last_used_identifier";

bool isUsable(const std::optional<std::string>& identifier) {
  return identifier && *identifier != ZVDevice::kZeroIdentifier;
}

}  // namespace

std::string Identity::use(std::string_view how, const std::string& identifier) {
  ZVLogger::d(0, "getUserId: Using {}", how);
  keepLastUsed(identifier);
  return identifier;
}

std::string Identity::userId() {
  if (custom_) return use("custom user id", *custom_);
  if (random_ && (ZVDevice::isTestflightBuild() || ZVDevice::isZeroIdfa() || ZVDevice::isZeroIdfv()))
    return use("random user id", *random_);
  if (!idfa_) readDevice();
  if (prefersIdfv_ && idfv_) return use("idfv", *idfv_);
  if (isUsable(idfa_)) return use("idfa", *idfa_);
  if (isUsable(idfv_)) return use("idfv", *idfv_);
  return "";
}

void Identity::makeRandomIfNeeded() {
  // In this order: what the device is asked for is logged, so it is asked for no more than is needed.
  if ((prefersIdfv_ && !ZVDevice::isZeroIdfv()) || (!ZVDevice::isTestflightBuild() && !ZVDevice::isZeroIdfa()) ||
      !ZVDevice::isZeroIdfv()) {
    random_.reset();
    return;
  }
  if (random_) {
    ZVLogger::d(0, "Cached user_id detected (due to testflight or zero-idfa).");
    if (ZVValidator::validateString(random_)) {
      ZVLogger::d(0, "Will not generate user_id: already a valid (cached) present.");
      return;
    }
  }
  random_ = randomUuid();
  ZVStore::persistStateRandomUserId(random_);
  ZVLogger::i(0, "Generate and persist new user_id (due to Testflight or zero-idfa detected): {}", *random_);
}

void Identity::readDevice() {
  idfa_ = ZVDevice::idfa();
  idfv_ = ZVDevice::idfv();
}

std::optional<std::string> Identity::lastUsed() {
  return platform().userDefaults->stringForKey(kLastUsedIdentifierKey);
}

// Every event asks for the user's id, and it hardly ever changes.
void Identity::keepLastUsed(std::string_view identifier) {
  if (flushed_ == identifier) return;
  ZVUserDefaults& defaults = *platform().userDefaults;
  defaults.setString(kLastUsedIdentifierKey, identifier);
  flushed_.reset();
  if (defaults.synchronize()) flushed_ = identifier;
}

std::string ZVState::getUserId() { return state().identity.userId(); }
void ZVState::generateRandomUserIdIfNeeded() { state().identity.makeRandomIfNeeded(); }
void ZVState::cacheIdfaAndIdfv() { state().identity.readDevice(); }
std::optional<std::string> ZVState::getLastUsedIdentifier() { return Identity::lastUsed(); }
void ZVState::updateLastUsedIdentifier(ZVText identifier) { state().identity.keepLastUsed(identifier.view()); }

}  // namespace zorvane

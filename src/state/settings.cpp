#include <fmt/format.h>

#include "device/ZVDevice.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "values/Counter.h"

namespace zorvane {

namespace {
constexpr std::string_view kSdkName = "ios";
constexpr std::string_view kSdkVersion = "4.6.7";
}  // namespace

void ZVState::setSdkWrapperVersion(ZVText version) { sharedInstance().sdkWrapperVersion = version.copy(); }
void ZVState::setEngineVersion(ZVText version) { sharedInstance().engineVersion = version.copy(); }
void ZVState::setManualSessionHandling(bool enabled) { sharedInstance().manualSessionHandling = enabled; }
void ZVState::setEnableErrorReporting(bool enabled) { sharedInstance().useErrorReporting = enabled; }
void ZVState::setEnableEventSubmission(bool enabled) { sharedInstance().eventSubmissionEnabled = enabled; }
void ZVState::setInitialized() { sharedInstance().initialized = true; }

void ZVState::setSDKPausedFlag(bool paused) {
  sharedInstance().sdkPaused = paused;
  sharedInstance().pausedOnQueue = paused;
}

void ZVState::setBuild(ZVText build) {
  sharedInstance().build = build.copy();
  ZVLogger::i(0, "Set build version: {}", build);
}

void ZVState::setCustomUserId(ZVText userId) {
  sharedInstance().customUserId = userId.copy();
  ZVLogger::i(0, "Set custom user_id: {}", userId);
}

void ZVState::setAutoDetectAppVersion(bool enabled) {
  sharedInstance().autoDetectAppVersion = enabled;
  ZVLogger::i(0, "{} auto detect app version for build field", enabled ? "Enabled" : "Disabled");
}

void ZVState::setKeysWithGameKey(ZVText gameKey, ZVText gameSecret) {
  sharedInstance().gameKey = gameKey.copy();
  sharedInstance().gameSecret = gameSecret.copy();
}

std::string ZVState::getGameKey() { return sharedInstance().gameKey.value_or(""); }
std::string ZVState::getGameSecret() { return sharedInstance().gameSecret.value_or(""); }
std::string ZVState::getBuild() { return sharedInstance().build.value_or(""); }
std::string ZVState::getIdfa() { return sharedInstance().idfa.value_or(""); }
std::string ZVState::getIdfv() { return sharedInstance().idfv.value_or(""); }
std::int64_t ZVState::getSessionNum() { return sharedInstance().sessionNum.value_or(0); }
std::int64_t ZVState::getTransactionNum() { return sharedInstance().transactionNum.value_or(0); }
std::optional<std::string> ZVState::getEngineVersion() { return sharedInstance().engineVersion; }

const ZVMap& ZVState::getSdkConfig() {
  const ZVState& state = sharedInstance();
  if (state.sdkConfig) return *state.sdkConfig;
  return state.sdkConfigCached ? *state.sdkConfigCached : state.sdkConfigDefault;
}

std::string ZVState::getSdkVersion() {
  const ZVState& state = sharedInstance();
  return state.sdkWrapperVersion ? *state.sdkWrapperVersion : fmt::format("{} {}", kSdkName, kSdkVersion);
}

bool ZVState::isEnabled() { return sharedInstance().initAuthorized; }
bool ZVState::isInitialized() { return sharedInstance().initialized; }
bool ZVState::isTVos() { return sharedInstance().tvOs; }
bool ZVState::isManualSessionHandling() { return sharedInstance().manualSessionHandling; }
bool ZVState::isSDKPaused() { return sharedInstance().pausedOnQueue; }
bool ZVState::isAutoDetectAppVersionEnabled() { return sharedInstance().autoDetectAppVersion; }

bool ZVState::hasConnection() {
  const std::string connection = ZVDevice::connectionType();
  return connection == "wwan" || connection == "wifi";
}

void ZVState::incrementSessionNum() { sharedInstance().sessionNum = successor(getSessionNum()); }
void ZVState::incrementTransactionNum() { sharedInstance().transactionNum = successor(getTransactionNum()); }

}  // namespace zorvane

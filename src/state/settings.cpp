#include <fmt/format.h>

#include "device/ZVDevice.h"
#include "runtime/ZVLogger.h"
#include "state/Records.h"
#include "values/Counter.h"

namespace zorvane {

namespace {

constexpr std::string_view kSdkName = "ios";
constexpr std::string_view kSdkVersion = "4.6.7";

Configuration& configuration() { return state().configuration; }
Session& session() { return state().session; }

}  // namespace

void ZVState::setSdkWrapperVersion(ZVText version) { configuration().versions.sdkWrapper = version.copy(); }
void ZVState::setEngineVersion(ZVText version) { configuration().versions.engine = version.copy(); }
void ZVState::setManualSessionHandling(bool enabled) { configuration().switches.manualSessionHandling = enabled; }
void ZVState::setEnableErrorReporting(bool enabled) { configuration().switches.errorReporting = enabled; }
void ZVState::setEnableEventSubmission(bool enabled) { configuration().switches.eventSubmission = enabled; }
void ZVState::setInitialized() { session().setInitialized(); }
void ZVState::setSDKPausedFlag(bool paused) { session().setPaused(paused); }

void ZVState::setBuild(ZVText build) {
  configuration().versions.build = build.copy();
  ZVLogger::i(0, "Set build version: {}", build);
}

void ZVState::setCustomUserId(ZVText userId) {
  state().identity.setCustom(userId);
  ZVLogger::i(0, "Set custom user_id: {}", userId);
}

void ZVState::setAutoDetectAppVersion(bool enabled) {
  configuration().versions.autoDetectBuild = enabled;
  ZVLogger::i(0, "{} auto detect app version for build field", enabled ? "Enabled" : "Disabled");
}

void ZVState::setKeysWithGameKey(ZVText gameKey, ZVText gameSecret) {
  configuration().keys = {std::string(gameKey.view()), std::string(gameSecret.view())};
}

std::string ZVState::getGameKey() { return configuration().keys.gameKey; }
std::string ZVState::getGameSecret() { return configuration().keys.gameSecret; }
std::string ZVState::getBuild() { return configuration().versions.build.value_or(""); }
std::string ZVState::getIdfa() { return state().identity.idfa(); }
std::string ZVState::getIdfv() { return state().identity.idfv(); }
std::int64_t ZVState::getSessionNum() { return session().number.value(); }
std::int64_t ZVState::getTransactionNum() { return session().transactions.value(); }
std::optional<std::string> ZVState::getEngineVersion() { return configuration().versions.engine; }
const ZVMap& ZVState::getSdkConfig() { return state().sdkConfig.inForce(); }

std::string ZVState::getSdkVersion() {
  const auto& wrapper = configuration().versions.sdkWrapper;
  return wrapper ? *wrapper : fmt::format("{} {}", kSdkName, kSdkVersion);
}

bool ZVState::isEnabled() { return session().isEnabled(); }
bool ZVState::isInitialized() { return session().isInitialized(); }
bool ZVState::isManualSessionHandling() { return configuration().switches.manualSessionHandling; }
bool ZVState::isErrorReportingEnabled() { return configuration().switches.errorReporting; }
bool ZVState::isEventSubmissionEnabled() { return configuration().switches.eventSubmission; }
bool ZVState::isSDKPaused() { return session().isPaused(); }
bool ZVState::isAutoDetectAppVersionEnabled() { return configuration().versions.autoDetectBuild; }

bool ZVState::hasConnection() {
  const std::string connection = ZVDevice::connectionType();
  return connection == "wwan" || connection == "wifi";
}

void ZVState::incrementSessionNum() { session().number.increment(); }
void ZVState::incrementTransactionNum() { session().transactions.increment(); }

}  // namespace zorvane

#include <cmath>
#include <limits>

#include "codecs/uuids.h"
#include "device/ZVDevice.h"
#include "platform/Platform.h"
#include "state/Records.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr int kEventVersion = 2;
constexpr std::size_t kMostFields = 30;  // common ones and an event's own

// The client's clock in whole seconds.
std::int32_t clientSeconds() { return static_cast<std::int32_t>(integerReading(platform().clock->secondsSince1970())); }

void setUnless(ZVMap& fields, const char* key, std::string value, std::string_view meansAbsent) {
  if (value != meansAbsent) fields.set(key, std::move(value));
}

// Optional flags are true or absent, never false.
void setIfTrue(ZVMap& fields, const char* key, bool value) {
  if (value) fields.set(key, true);
}

void addEngineVersion(ZVMap& fields) {
  if (auto version = ZVState::getEngineVersion()) fields.set("engine_version", std::move(*version));
}

void addRemoteConfigs(ZVMap& fields) {
  if (auto configurations = state().remoteConfigs.all(); configurations && !configurations->empty())
    fields.set("configurations", *std::move(configurations));
  setUnless(fields, "ab_id", ZVState::getABTestingId().value_or(""), "");
  setUnless(fields, "ab_variant_id", ZVState::getABTestingVariantId().value_or(""), "");
}

}  // namespace

ZVMap ZVState::getEventAnnotations() {
  ZVMap fields;
  fields.reserve(kMostFields);
  fields.set("v", kEventVersion);
  fields.set("user_id", getUserId());
  fields.set("event_uuid", randomUuid());
  fields.set("ios_idfa", getIdfa());
  fields.set("ios_idfv", getIdfv());
  fields.set("client_ts", getClientTsAdjustedWithServertimeOffset());
  fields.set("sdk_version", getSdkVersion());
  fields.set("os_version", ZVDevice::osLine());
  fields.set("manufacturer", ZVDevice::deviceMake());
  fields.set("device", ZVDevice::deviceModel());
  fields.set("platform", ZVDevice::osPlatform());
  fields.set("session_id", sessionId().value_or(""));
  fields.set("session_num", getSessionNum());
  fields.set("connection_type", ZVDevice::connectionType());

  addEngineVersion(fields);
  addRemoteConfigs(fields);
  setIfTrue(fields, "jailbroken", ZVDevice::isJailbroken());
  setIfTrue(fields, "limited_ad_tracking", ZVDevice::isLimitedAdTracking());
  fields.set("build", getBuild());
  setUnless(fields, "ios_bundle_id", ZVDevice::appBundleIdentifier(), "unassigned");
  setUnless(fields, "ios_app_version", ZVDevice::appVersion(), "0.0.0");
  setUnless(fields, "ios_app_build", ZVDevice::appBuild(), "0.0.0");
  setUnless(fields, "ios_att", ZVDevice::idfaConsent(), "");
  setIfTrue(fields, "ios_testflight", ZVDevice::isTestflightBuild());
  return fields;
}

ZVMap ZVState::getSdkErrorEventAnnotations() {
  ZVMap fields;
  fields.set("v", kEventVersion);
  fields.set("event_uuid", randomUuid());
  fields.set("category", Category::sdkError);
  fields.set("sdk_version", getSdkVersion());
  fields.set("os_version", ZVDevice::osLine());
  fields.set("manufacturer", ZVDevice::deviceMake());
  fields.set("device", ZVDevice::deviceModel());
  fields.set("platform", ZVDevice::osPlatform());
  addEngineVersion(fields);
  setIfTrue(fields, "jailbroken", ZVDevice::isJailbroken());
  return fields;
}

ZVMap ZVState::getInitAnnotations() {
  ZVMap fields;
  fields.set("user_id", isEventSubmissionEnabled() ? getUserId() : std::string());
  fields.set("ios_idfa", getIdfa());
  fields.set("ios_idfv", getIdfv());
  fields.set("sdk_version", getSdkVersion());
  fields.set("os_version", ZVDevice::osLine());
  fields.set("platform", ZVDevice::osPlatform());
  fields.set("build", getBuild());
  fields.set("random_salt", getSessionNum());
  return fields;
}

double ZVState::getClientTsAdjustedWithServertimeOffset() {
  const double now = clientSeconds();
  const double adjusted = now + state().sdkConfig.timeOffset();
  return ZVValidator::validateClientTs(adjusted) ? adjusted : now;
}

std::int32_t ZVState::calculateServerTimeOffset(double serverTimestamp) {
  using Limits = std::numeric_limits<std::int32_t>;
  const double offset = std::trunc(serverTimestamp) - clientSeconds();
  if (!(offset > Limits::min())) return Limits::min();
  return offset < Limits::max() ? static_cast<std::int32_t>(offset) : Limits::max();
}

}  // namespace zorvane

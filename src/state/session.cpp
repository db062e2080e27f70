// The init call at a session's start, and what its answer means.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "codecs/json.h"
#include "codecs/uuids.h"
#include "device/ZVDevice.h"
#include "runtime/ZVLogger.h"
#include "state/Records.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::string_view kUnassignedVersion = "0.0.0";

void detectBuild() {
  const std::string version = ZVDevice::appVersion();
  if (version == kUnassignedVersion) return;
  ZVState::setBuild(version);
  ZVLogger::i(0, "Auto detecting app version and setting build field to: {}", version);
}

// What an unchanged configuration leaves out of the answer is carried over from the one in force.
void carryOver(ZVMap& answer, const ZVMap& inForce) {
  for (const char* key : {"configs", "configs_hash", "ab_id", "ab_variant_id"})
    if (const ZVValue* value = inForce.find(key)) answer.set(key, *value);
}

void acceptInitAnswer(ZVMap answer, bool unchanged) {
  if (const ZVValue* serverTs = answer.find("server_ts"))
    answer.set("time_offset", ZVState::calculateServerTimeOffset(doubleReading(*serverTs)));
  if (unchanged) carryOver(answer, ZVState::getSdkConfig());
  ZVState::adoptConfigIds(answer);
  if (const auto json = writeJson(answer)) ZVStore::persistStateCachedConfigWithValue(*json);
  state().sdkConfig.adopt(std::move(answer));
  state().session.setEnabled(true);
}

void logInitFailure(ZVHTTPApiResponse kind) {
  switch (kind) {
    case ZVHTTPApiResponse::NoResponse:
    case ZVHTTPApiResponse::Reserved:
      ZVLogger::i(0, "Init call (session start) failed - no response. Could be offline or timeout.");
      return;
    case ZVHTTPApiResponse::BadResponse:
    case ZVHTTPApiResponse::JsonEncodeFailed:
    case ZVHTTPApiResponse::JsonDecodeFailed:
      ZVLogger::i(0,
                  "Init call (session start) failed - bad response. Could be bad response from proxy or ZV servers.");
      return;
    case ZVHTTPApiResponse::BadRequest:
    case ZVHTTPApiResponse::UnknownResponseCode:
      ZVLogger::i(0, "Init call (session start) failed - bad request or unknown response.");
      return;
    default: return;
  }
}

// Without an answer the session starts with what is at hand.
void startOffline(ZVHTTPApiResponse kind) {
  logInitFailure(kind);
  ZVLogger::i(0, "Init call (session start) failed - using {} init values.",
              state().sdkConfig.fallBack() ? "cached" : "default");
  state().session.setEnabled(true);
}

void requestInit() {
  ZVHTTPApi::Answer answer = ZVHTTPApi::sharedInstance().requestInitReturningDict(
      state().configuration.keys, state().remoteConfigs.hash(), &ZVState::getInitAnnotations);
  const bool unchanged = answer.kind == ZVHTTPApiResponse::Ok;
  const bool succeeded = unchanged || answer.kind == ZVHTTPApiResponse::Created;
  if (const ZVMap* content = answer.content ? answer.content->ifMap() : nullptr; succeeded && content != nullptr) {
    acceptInitAnswer(*content, unchanged);
  } else if (answer.kind == ZVHTTPApiResponse::Unauthorized) {
    ZVLogger::w(0, "Initialize SDK failed - Unauthorized");
    state().session.setEnabled(false);
  } else {
    startOffline(answer.kind);
  }
}

void adoptTimeOffset() {
  const ZVValue* offset = ZVState::getSdkConfig().find("time_offset");
  if (offset == nullptr) return;
  using Limits = std::numeric_limits<std::int32_t>;
  state().sdkConfig.setTimeOffset(
      static_cast<std::int32_t>(std::clamp<std::int64_t>(integerReading(*offset), Limits::min(), Limits::max())));
}

}  // namespace

void ZVState::prepareSession() {
  if (isEventSubmissionEnabled()) ZVLogger::i(0, "Starting a new session.");
  validateAndFixCurrentDimensions();
  if (isAutoDetectAppVersionEnabled()) detectBuild();
  requestInit();
  adoptTimeOffset();
  populateConfigurations(getSdkConfig());
}

void ZVState::beginSession() {
  std::string id = randomUuid();
  cacheIdfaAndIdfv();
  const auto start = static_cast<std::int64_t>(getClientTsAdjustedWithServertimeOffset());
  state().session.begin(std::move(id), std::to_string(start));
}

const std::optional<std::string>& ZVState::sessionId() { return state().session.id(); }
const std::string& ZVState::sessionStart() { return state().session.start(); }
bool ZVState::takeNewInstall() { return state().session.takeFirstOfInstallation(); }
bool ZVState::hasPaused() { return state().session.hasPaused(); }
bool ZVState::pause() { return state().session.pause(); }
void ZVState::followPause() { state().session.followPause(); }

std::optional<ZVMap> ZVState::getItunesInformation() {
  const auto bundleId = ZVDevice::getBundleIdentifier();
  if (!bundleId) return std::nullopt;
  const ZVHTTPApi::Answer answer = ZVHTTPApi::sharedInstance().requestItunesInfoReturningDict(*bundleId);
  const ZVMap* content = answer.content ? answer.content->ifMap() : nullptr;
  if (answer.kind == ZVHTTPApiResponse::Ok && content != nullptr) return *content;
  ZVLogger::d(0, "Itunes Search failed. Might be offline.");
  return std::nullopt;
}

}  // namespace zorvane

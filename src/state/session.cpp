#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

#include "codecs/ZVHelpers.h"
#include "device/ZVDevice.h"
#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
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
  ZVState& state = ZVState::sharedInstance();
  if (const ZVValue* serverTs = answer.find("server_ts"))
    answer.set("time_offset", ZVState::calculateServerTimeOffset(doubleReading(*serverTs)));
  if (unchanged) carryOver(answer, ZVState::getSdkConfig());
  ZVState::adoptConfigIds(answer);
  if (const auto json = ZVHelpers::jsonStringWithObject(answer)) ZVStore::persistStateCachedConfigWithValue(*json);
  state.sdkConfigCached = answer;
  state.sdkConfig = std::move(answer);
  state.initAuthorized = true;
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
  ZVState& state = ZVState::sharedInstance();
  if (state.sdkConfig || state.sdkConfigCached) {
    ZVLogger::i(0, "Init call (session start) failed - using cached init values.");
    if (!state.sdkConfig) state.sdkConfig = state.sdkConfigCached;
  } else {
    ZVLogger::i(0, "Init call (session start) failed - using default init values.");
    state.sdkConfig = state.sdkConfigDefault;
  }
  state.initAuthorized = true;
}

void requestInit() {
  ZVState& state = ZVState::sharedInstance();
  ZVHTTPApi::Answer answer = ZVHTTPApi::sharedInstance().requestInitReturningDict(
      {ZVState::getGameKey(), ZVState::getGameSecret()}, state.configsHash.value_or(""), &ZVState::getInitAnnotations);
  const bool unchanged = answer.kind == ZVHTTPApiResponse::Ok;
  const bool succeeded = unchanged || answer.kind == ZVHTTPApiResponse::Created;
  if (const ZVMap* content = answer.content ? answer.content->ifMap() : nullptr; succeeded && content != nullptr) {
    acceptInitAnswer(*content, unchanged);
  } else if (answer.kind == ZVHTTPApiResponse::Unauthorized) {
    ZVLogger::w(0, "Initialize SDK failed - Unauthorized");
    state.initAuthorized = false;
  } else {
    startOffline(answer.kind);
  }
}

void adoptTimeOffset() {
  const ZVValue* offset = ZVState::getSdkConfig().find("time_offset");
  if (offset == nullptr) return;
  using Limits = std::numeric_limits<std::int32_t>;
  ZVState::sharedInstance().clientServerTimeOffset =
      static_cast<std::int32_t>(std::clamp<std::int64_t>(integerReading(*offset), Limits::min(), Limits::max()));
}

void openSession() {
  ZVState& state = ZVState::sharedInstance();
  state.sessionId = ZVHelpers::generateUUID();
  ZVState::cacheIdfaAndIdfv();
  state.sessionStart = std::to_string(static_cast<std::int64_t>(ZVState::getClientTsAdjustedWithServertimeOffset()));
  ZVEvents::addSessionStartEvent();
}

// Ends a background task however the work that it stood for went.
struct BackgroundTaskEnd {
  ZVBackgroundTasks& tasks;
  ZVBackgroundTasks::TaskId id;
  ~BackgroundTaskEnd() { tasks.end(id); }
};

// A start that fails, for want of memory, leaves the library paused: what is reported must not join the session that
// has ended.
void startOrStayPaused() {
  try {
    ZVState::setSDKPausedFlag(false);
    ZVState::startNewSession();
  } catch (...) {
    ZVState::setSDKPausedFlag(true);
    throw;
  }
}

void resumeOnQueue() {
  ZVState& state = ZVState::sharedInstance();
  startOrStayPaused();
  if (!ZVState::isEnabled()) {
    ZVLogger::w(0, "SDK is disabled - cannot resume SDK.");
    return;
  }
  ZVLogger::i(0, "Resuming SDK (starting event queue).");
  if (state.restartEventQueue.exchange(false)) ZVEvents::startEventQueue();
}

}  // namespace

void ZVState::startNewSession() {
  if (!isInitialized()) {
    ZVLogger::w(0, "Cannot start new session as SDK is not initialized.");
    return;
  }
  ZVState& state = sharedInstance();
  if (state.eventSubmissionEnabled) ZVLogger::i(0, "Starting a new session.");
  validateAndFixCurrentDimensions();
  if (isAutoDetectAppVersionEnabled()) detectBuild();
  requestInit();
  adoptTimeOffset();
  populateConfigurations(getSdkConfig());
  if (isEnabled()) {
    openSession();
    return;
  }
  ZVLogger::w(0, "Could not start session: SDK is disabled.");
  ZVEvents::stopEventQueue();
  state.restartEventQueue = true;
}

void ZVState::pauseSDKAndEndSession() { sharedInstance().pause(); }
void ZVState::resumeSDKAndStartSession() { sharedInstance().resume(); }

void ZVState::pause() {
  if (sdkPaused) {
    ZVLogger::w(0, "SDK is already paused. Cannot pause SDK and end session.");
    return;
  }
  if (tvOs) platform().userDefaults->synchronize();
  if (!isEnabled()) {
    ZVLogger::w(0, "SDK is disabled - cannot pause SDK and end session.");
    return;
  }
  if (sdkPaused.exchange(true)) return;  // another thread was quicker
  ZVLogger::i(0, "Pausing SDK (stopping event queue) and adding session end event.");
  if (ZVEvents::isEventQueueTimerArmed()) {
    restartEventQueue = true;
    ZVEvents::stopEventQueue();
  }
  addSessionEndEventAndSendInLongBackgroundThread();
}

void ZVState::resume() {
  if (!sdkPaused) {
    ZVLogger::i(0, "Active session in progress. Ending current session and starting new.");
    pause();
  }
  ZVThreading::performTaskOnZVThreadWithBlock([] { resumeOnQueue(); });
}

void ZVState::addSessionEndEventAndSendInLongBackgroundThread() {
  const auto tasks = platform().backgroundTasks;
  // The expiry handler needs the id that begin() is about to return.
  const auto id = std::make_shared<std::atomic<ZVBackgroundTasks::TaskId>>(0);
  *id = tasks->begin([tasks, id] { tasks->end(*id); });
  ZVThreading::performTaskOnZVThreadWithBlock([tasks, id] {
    const BackgroundTaskEnd end{*tasks, *id};
    ZVState& state = sharedInstance();
    state.pausedOnQueue = state.sdkPaused.load();  // not when a resume has overtaken this pause
    ZVEvents::addSessionEndEvent();
  });
}

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

#include <string>
#include <utility>
#include <vector>

#include "codecs/json.h"
#include "codecs/json_written.h"
#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr double kShortestPeriod = 0.1;
constexpr double kLongestPeriod = 3600;

bool hasBadClientTs(const ZVMap& event) {
  const ZVValue* clientTs = event.find("client_ts");
  return clientTs != nullptr && !ZVValidator::validateClientTs(doubleReading(*clientTs));
}

// False for what is no record.
bool append(std::string& batch, const std::string& json) {
  constexpr NumberRule kClientTs{"client_ts", &ZVValidator::validateClientTs};
  if (isWrittenJson(json, ZVEvents::kMaxRecordLevels, kClientTs)) {
    batch += json;
    return true;
  }
  // Not as this library wrote it, or with a time that can't be right.
  auto parsed = readJson(json, ZVEvents::kMaxRecordLevels);
  if (!parsed || parsed->ifMap() == nullptr) return false;
  ZVMap event = *parsed->ifMap();
  if (hasBadClientTs(event)) event.erase("client_ts");
  const auto text = writeJson(event, ZVEvents::kMaxRecordLevels);
  if (text) batch += *text;
  return text.has_value();
}

// The list of the records, as JSON. What can't be sent shares the batch's fate.
std::string eventsOf(const std::vector<std::string>& records) {
  std::string batch = "[";
  for (const std::string& json : records)
    if (append(batch, json)) batch += ',';
  if (batch.size() > 1) batch.pop_back();
  return batch += ']';
}

// Arms the queue again when a run has ended, however it went.
struct Rearm {
  bool wanted;
  ~Rearm() {
    try {
      if (wanted) ZVEvents::startEventQueueUnlessPaused();
    } catch (...) {  // a host's loop that fails has lost the timer with it
    }
  }
};

void settle(const ZVHTTPApi::Answer& answer, ZVStore::Batch batch) {
  const std::size_t sent = batch.records.size();
  switch (answer.kind) {
    case ZVHTTPApiResponse::NoResponse:
    case ZVHTTPApiResponse::Reserved:
      ZVLogger::w(0, "Event queue: Failed to send events to collector - Retrying next time");
      return;
    case ZVHTTPApiResponse::Ok:
      ZVStore::removeBatch(std::move(batch));
      ZVLogger::i(0, "Event queue: {} events sent.", sent);
      return;
    case ZVHTTPApiResponse::BadRequest:
      if (const ZVValue::Array* failed = answer.content ? answer.content->ifArray() : nullptr) {
        ZVLogger::w(0, "Event queue: {} events sent. {} events failed ZV server validation.", sent, failed->size());
        ZVStore::removeBatch(std::move(batch));
        return;
      }
      [[fallthrough]];
    default:  // an answer that will not change by asking again
      ZVLogger::w(0, "Event queue: Failed to send events.");
      ZVStore::removeBatch(std::move(batch));
  }
}

}  // namespace

double ZVEvents::periodOfQueue() {
  const double seconds = platform().eventQueueSeconds;
  if (seconds >= kShortestPeriod && seconds <= kLongestPeriod) return seconds;  // false for a NaN
  const double usual = ZVPlatform().eventQueueSeconds;
  ZVLogger::w(0, "An event queue's period of {} seconds is not between {} and {}. {} seconds are used instead.",
              seconds, kShortestPeriod, kLongestPeriod, usual);
  return usual;
}

void ZVEvents::startEventQueue() {
  stopEventQueue();
  ZVEvents& events = sharedInstance();
  // From here rather than on the loop's thread, which a host may keep busy: what waits to be stored must not wait for
  // it. And without the lock: a host's loop may run its timers under one of its own.
  const auto timer = platform().mainLoop->scheduleTimer(events.queueTimerWaitSeconds, [] { processEventQueue(true); });
  const std::scoped_lock lock(events.timerGuard_);
  events.eventQueueTimer_ = timer;
}

void ZVEvents::stopEventQueue() {
  ZVEvents& events = sharedInstance();
  std::optional<ZVMainLoop::TimerId> timer;
  {
    const std::scoped_lock lock(events.timerGuard_);
    timer.swap(events.eventQueueTimer_);
  }
  if (timer) platform().mainLoop->cancelTimer(*timer);
}

bool ZVEvents::isEventQueueTimerArmed() {
  ZVEvents& events = sharedInstance();
  const std::scoped_lock lock(events.timerGuard_);
  return events.eventQueueTimer_.has_value();
}

void ZVEvents::startEventQueueUnlessPaused() {
  if (ZVState::hasPaused()) sharedInstance().restartEventQueue_ = true;
  else startEventQueue();
}

void ZVEvents::restartEventQueueIfStopped() {
  if (sharedInstance().restartEventQueue_.exchange(false)) startEventQueueUnlessPaused();
}

void ZVEvents::processEventQueue(bool timerFired) {
  stopEventQueue();
  ZVThreading::performTaskOnZVThreadWithBlock([timerFired] {
    const Rearm rearm{timerFired};
    processEventsWithCategory({}, true);
  });
}

void ZVEvents::processEventsWithCategory(ZVText category, bool performCleanup) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  // Without keys, as where initialising failed, the answer could only be a refusal, and would delete what waits.
  if (ZVState::getGameKey().empty()) return;
  if (performCleanup) {
    cleanupEvents();
    fixMissingSessionEndEvents();
    ZVStore::takeStock();
  }
  auto batch = ZVStore::takeBatch(category);
  if (!batch) return;
  if (batch->records.empty()) {
    ZVLogger::i(0, "Event queue: No events to send");
    updateSessionTime();
    return;
  }
  ZVLogger::i(0, "Event queue: Sending {} events.", batch->records.size());
  const ZVHTTPApi::Answer answer = ZVHTTPApi::sharedInstance().sendEventsInArray(
      {ZVState::getGameKey(), ZVState::getGameSecret()}, eventsOf(batch->records));
  settle(answer, *std::move(batch));
  ZVStore::vacuumIfWorthIt();
}

void ZVEvents::cleanupEvents() { ZVStore::giveAllBatchesBack(); }

void ZVEvents::deleteAllEvents() {}

}  // namespace zorvane

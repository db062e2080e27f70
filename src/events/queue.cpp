#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"
#include "transport/ZVHelpers.h"
#include "validation/ZVValidator.h"
#include "values/Text.h"

namespace {

constexpr std::size_t kMaxBatch = 500;

// The rows of one run, and the statement that takes them out of the reach of every other.
struct Batch {
  ZVStore::Rows rows;
  std::string markSql;
};

// More rows are pending than one request takes: the oldest, up to and with the second in which the limit falls.
// Timestamps compare as text.
std::optional<Batch> oldestPending(const std::string& requestId, const std::string& filter) {
  const auto cutOff = ZVStore::executeQuerySyncWithSql(fmt::format(
      "SELECT client_ts FROM zv_events WHERE status = 'new' {} ORDER BY client_ts ASC LIMIT 0,{};", filter, kMaxBatch));
  const std::string* last = cutOff && !cutOff->empty() ? cutOff->back().find("client_ts") : nullptr;
  if (last == nullptr) return std::nullopt;
  auto rows = ZVStore::executeQuerySyncWithSql(
      fmt::format("SELECT event FROM zv_events WHERE status = 'new' {} AND client_ts<='{}';", filter, *last));
  if (!rows) return std::nullopt;
  return Batch{std::move(*rows),
               fmt::format("UPDATE zv_events SET status='{}' WHERE status='new' {} AND client_ts<='{}';", requestId,
                           filter, *last)};
}

// Absent: nothing is pending, or a query failed.
std::optional<Batch> pending(const std::string& requestId, const std::string& filter) {
  auto rows =
      ZVStore::executeQuerySyncWithSql(fmt::format("SELECT event FROM zv_events WHERE status = 'new' {};", filter));
  if (!rows || rows->empty()) {
    ZVLogger::i(0, "Event queue: No events to send");
    ZVEvents::updateSessionTime();
    return std::nullopt;
  }
  if (rows->size() > kMaxBatch) return oldestPending(requestId, filter);
  return Batch{std::move(*rows),
               fmt::format("UPDATE zv_events SET status = '{}' WHERE status = 'new' {};", requestId, filter)};
}

bool hasBadClientTs(const ZVMap& event) {
  const ZVValue* clientTs = event.find("client_ts");
  return clientTs != nullptr && !ZVValidator::validateClientTs(doubleReading(*clientTs));
}

ZVValue::Array eventsOf(const ZVStore::Rows& rows) {
  ZVValue::Array events;
  events.reserve(rows.size());
  for (const ZVStore::Row& row : rows) {
    const std::string* json = row.find("event");
    auto parsed = json != nullptr ? ZVHelpers::dictionaryWithJsonString(*json) : std::nullopt;
    const ZVMap* event = parsed ? parsed->ifMap() : nullptr;
    if (event == nullptr) continue;  // stays marked and shares the batch's fate
    if (hasBadClientTs(*event)) {
      ZVMap cleaned = *event;
      cleaned.erase("client_ts");
      events.emplace_back(std::move(cleaned));
    } else {
      events.push_back(std::move(*parsed));
    }
  }
  return events;
}

// Arms the queue again when a run has ended, however it went.
struct Rearm {
  bool wanted;
  ~Rearm() {
    try {
      if (wanted) ZVEvents::startEventQueue();
    } catch (...) {  // a host's loop that fails has lost the timer with it
    }
  }
};

void settle(const ZVHTTPApi::Answer& answer, const std::string& requestId, std::size_t sent) {
  const auto remove = [&] {
    ZVStore::executeQuerySyncWithSql(fmt::format("DELETE FROM zv_events WHERE status = '{}'", requestId));
  };
  switch (answer.kind) {
    case ZVHTTPApiResponse::NoResponse:
    case ZVHTTPApiResponse::Reserved:
      ZVLogger::w(0, "Event queue: Failed to send events to collector - Retrying next time");
      ZVStore::executeQuerySyncWithSql(
          fmt::format("UPDATE zv_events SET status = 'new' WHERE status = '{}';", requestId));
      return;
    case ZVHTTPApiResponse::Ok:
      remove();
      ZVLogger::i(0, "Event queue: {} events sent.", sent);
      return;
    case ZVHTTPApiResponse::BadRequest:
      if (const ZVValue::Array* failed = answer.content ? answer.content->ifArray() : nullptr) {
        ZVLogger::w(0, "Event queue: {} events sent. {} events failed ZV server validation.", sent, failed->size());
        remove();
        return;
      }
      [[fallthrough]];
    default:  // an answer that will not change by asking again
      ZVLogger::w(0, "Event queue: Failed to send events.");
      remove();
  }
}

}  // namespace

void ZVEvents::startEventQueue() {
  stopEventQueue();
  ZVThreading::performTaskOnMainThreadWithBlock([] {
    ZVEvents& events = sharedInstance();
    const std::scoped_lock lock(events.timerGuard_);
    events.eventQueueTimer_ =
        platform().mainLoop->scheduleTimer(events.queueTimerWaitSeconds, [] { processEventQueue(true); });
  });
}

void ZVEvents::stopEventQueue() {
  ZVEvents& events = sharedInstance();
  const std::scoped_lock lock(events.timerGuard_);
  if (!events.eventQueueTimer_) return;
  platform().mainLoop->cancelTimer(*events.eventQueueTimer_);
  events.eventQueueTimer_.reset();
}

bool ZVEvents::isEventQueueTimerArmed() {
  ZVEvents& events = sharedInstance();
  const std::scoped_lock lock(events.timerGuard_);
  return events.eventQueueTimer_.has_value();
}

void ZVEvents::processEventQueue(bool timerFired) {
  stopEventQueue();
  ZVThreading::performTaskOnZVThreadWithBlock([timerFired] {
    const Rearm rearm{timerFired};
    processEventsWithCategory({}, true);
  });
}

void ZVEvents::processEventsWithCategory(ZVText category, bool performCleanup) {
  if (!ZVState::sharedInstance().eventSubmissionEnabled) return;
  const std::string requestId = ZVHelpers::generateUpperUUID();
  if (performCleanup) {
    cleanupEvents();
    fixMissingSessionEndEvents();
  }
  const std::string filter = category.present() ? fmt::format(" AND category='{}' ", category) : std::string();
  const auto batch = pending(requestId, filter);
  if (!batch) return;
  ZVLogger::i(0, "Event queue: Sending {} events.", batch->rows.size());
  if (!ZVStore::executeQuerySyncWithSql(batch->markSql)) return;
  settle(ZVHTTPApi::sharedInstance().sendEventsInArray(eventsOf(batch->rows)), requestId, batch->rows.size());
  ZVStore::vacuum();
}

void ZVEvents::cleanupEvents() { ZVStore::executeQuerySyncWithSql("UPDATE zv_events SET status = 'new';"); }

void ZVEvents::deleteAllEvents() {}

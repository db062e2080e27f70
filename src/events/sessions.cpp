#include <algorithm>
#include <cstdint>
#include <string>

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHelpers.h"
#include "values/Text.h"

namespace {

// The snapshot of a session that never got its end, as that end.
std::optional<ZVMap> missingEnd(const ZVStore::Row& row) {
  const std::string* json = row.find("event");
  const std::string* start = row.find("timestamp");
  if (json == nullptr) return std::nullopt;
  const auto parsed = ZVHelpers::dictionaryWithJsonString(*json);
  const ZVMap* snapshot = parsed ? parsed->ifMap() : nullptr;
  if (snapshot == nullptr) return std::nullopt;

  const ZVValue* lastSeen = snapshot->find("client_ts");
  std::int64_t length =
      (lastSeen != nullptr ? integerReading(*lastSeen) : 0) - (start != nullptr ? integerOfText(*start) : 0);
  if (length < 0) {
    ZVLogger::w(0,
                "While fixing missing session end event; the session length was calculated to be less then 0. Should "
                "not be possible. Resetting to 0.");
    length = 0;
  }
  ZVMap end = *snapshot;
  end.set("category", ZVEvents::sharedInstance().categorySessionEnd);
  end.set("length", length);
  return end;
}

std::int64_t sessionLength() {
  const std::string start = ZVState::sharedInstance().sessionStart.value_or("");
  const auto now = static_cast<std::int64_t>(ZVState::getClientTsAdjustedWithServertimeOffset());
  const std::int64_t length = now - integerOfText(start);
  if (length >= 0) return length;
  ZVLogger::w(0, "Session length was calculated to be less then 0. Should not be possible. Resetting to 0.");
  return 0;
}

}  // namespace

void ZVEvents::addSessionStartEvent() {
  ZVState& state = ZVState::sharedInstance();
  if (!state.eventSubmissionEnabled) return;
  const std::string& category = sharedInstance().categorySessionStart;
  ZVMap event{{"category", category}};
  if (state.newInstall) {
    event.set("install", true);
    state.newInstall = false;
  }
  ZVState::incrementSessionNum();
  ZVStore::persistStateSessionNumWithValue(std::to_string(ZVState::getSessionNum()));
  addDimensionsAndFields(event, {}, false);
  ZVLogger::i(0, "Add SESSION START event");
  addEventToStoreWithEventData(event);
  processEventsWithCategory(category, false);
}

void ZVEvents::addSessionEndEvent() {
  if (!ZVState::sharedInstance().eventSubmissionEnabled) return;
  ZVMap event{{"category", sharedInstance().categorySessionEnd}, {"length", sessionLength()}};
  addDimensionsAndFields(event, {}, false);
  ZVLogger::i(0, "Add SESSION END event.");
  addEventToStoreWithEventData(event);
  processEventsWithCategory({}, false);
}

void ZVEvents::fixMissingSessionEndEvents() {
  const ZVState& state = ZVState::sharedInstance();
  if (!state.eventSubmissionEnabled) return;
  const auto rows = ZVStore::executeQuerySyncWithSql("SELECT timestamp, event FROM zv_session WHERE session_id != ?;",
                                                     {state.sessionId.value_or("")});
  if (!rows || rows->empty()) return;
  ZVLogger::d(0, "{} missing session_end events", rows->size());
  for (const ZVStore::Row& row : *rows)
    if (const auto end = missingEnd(row)) addEventToStoreWithEventData(*end);
}

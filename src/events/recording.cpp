#include <string>
#include <utility>

#include "crash/first_form.h"
#include "events/SdkError.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHelpers.h"
#include "values/Text.h"

namespace {

// What goes into a column: the text of a field, numbers in decimal.
std::string columnText(const ZVMap& record, std::string_view key) {
  const ZVValue* value = record.find(key);
  return value != nullptr && !value->isNull() ? describe(*value) : std::string();
}

// A session's beginning and end and a purchase are worth more than the limit.
bool isStoredAtAnySize(const ZVMap& eventData) {
  return ZVHelpers::stringMatchWithString(columnText(eventData, "category"), "^(user|session_end|business)$");
}

bool mayStore(const ZVMap& eventData) {
  if (!ZVStore::sharedInstance().tableReady) {
    ZVLogger::w(0, "Could not add event: SDK datastore error");
    return false;
  }
  if (!ZVState::isInitialized()) {
    ZVLogger::w(0, "Could not add event: SDK is not initialized");
    return false;
  }
  if (ZVStore::isDbTooLargeForEvents() && !isStoredAtAnySize(eventData)) {
    ZVLogger::w(0, "Database too large. Event has been blocked.");
    ZVEvents::sendSdkErrorEventWithCategory(kCategoryDb, kAreaAddEventsToStore, kActionDbTooLarge, "",
                                            ZVState::getGameKey(), ZVState::getGameSecret());
    return false;
  }
  return true;
}

// What the session's end would say if the game died now: the common fields, which are the last event's but for the id.
void storeSnapshot(ZVMap snapshot) {
  if (ZVState::isSDKPaused()) return;
  const ZVState& state = ZVState::sharedInstance();
  if (!state.sessionId) return;  // no session has begun, so there is nothing that could need an end

  snapshot.set("event_uuid", ZVHelpers::generateUUID());
  ZVEvents::addDimensionsToEventWithEventData(snapshot);
  ZVEvents::addFieldsToEventWithEventData(snapshot,
                                          ZVState::validateAndCleanCustomFields(ZVState::getGlobalCustomEventFields()));
  std::optional<std::string> json = ZVHelpers::jsonStringWithObject(snapshot);
  if (!json) return;
  ZVStore::executeQuerySyncWithSql("INSERT OR REPLACE INTO zv_session(session_id, timestamp, event) VALUES(?, ?, ?);",
                                   {columnText(snapshot, "session_id"), state.sessionStart.value_or(""), *json});
  rememberForCrash(std::move(snapshot), *json);
}

}  // namespace

void ZVEvents::addEventToStoreWithEventData(const ZVMap& eventData) {
  if (!ZVState::sharedInstance().eventSubmissionEnabled || !mayStore(eventData)) return;

  ZVMap record = ZVState::getEventAnnotations();
  ZVMap snapshot = record;
  for (const auto& [key, value] : eventData) record.set(key, value);
  std::optional<std::string> json = ZVHelpers::jsonStringWithObject(record);
  if (!json) {
    ZVLogger::w(0, "Could not add event: it holds text that is not UTF-8, or a number that is not finite");
    return;
  }
  ZVLogger::ii(0, "Event added to queue: {}", *json);
  const std::string category = columnText(record, "category");
  const std::string session = columnText(record, "session_id");
  ZVStore::executeQuerySyncWithSql(
      "INSERT INTO zv_events (status, category, session_id, client_ts, event) VALUES(?, ?, ?, ?, ?);",
      {"new", category, session, columnText(record, "client_ts"), std::move(*json)});
  if (category == sharedInstance().categorySessionEnd)
    ZVStore::executeQuerySyncWithSql("DELETE FROM zv_session WHERE session_id = ?;", {session});
  else storeSnapshot(std::move(snapshot));
}

void ZVEvents::addDimensionsToEventWithEventData(ZVMap& eventData) {
  if (auto dimension = ZVState::getDimension01()) eventData.set("custom_01", std::move(*dimension));
  if (auto dimension = ZVState::getDimension02()) eventData.set("custom_02", std::move(*dimension));
  if (auto dimension = ZVState::getDimension03()) eventData.set("custom_03", std::move(*dimension));
}

void ZVEvents::addFieldsToEventWithEventData(ZVMap& eventData, ZVMap fields) {
  if (!fields.empty()) eventData.set("custom_fields", std::move(fields));
}

void ZVEvents::updateSessionTime() { storeSnapshot(ZVState::getEventAnnotations()); }

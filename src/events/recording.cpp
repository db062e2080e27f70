#include <string>
#include <utility>

#include "codecs/json.h"
#include "codecs/patterns.h"
#include "codecs/uuids.h"
#include "crash/first_form.h"
#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "runtime/SdkErrorReporter.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "values/Text.h"

namespace zorvane {

namespace {

// What goes into a column: the text of a field, numbers in decimal.
std::string columnText(const ZVMap& record, std::string_view key) {
  const ZVValue* value = record.find(key);
  return value != nullptr && !value->isNull() ? describe(*value) : std::string();
}

// A session's beginning and end and a purchase are worth more than the limit.
bool isStoredAtAnySize(const ZVMap& eventData) {
  return matchesPattern(columnText(eventData, "category"), "^(user|session_end|business)$");
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
    reportSdkError({SdkErrorCategory::db, SdkErrorArea::addEventsToStore, SdkErrorAction::dbTooLarge});
    return false;
  }
  return true;
}

// What the session's end would say if the game died now: the common fields, which are the last event's but for the id.
std::optional<ZVStore::Snapshot> snapshotOf(ZVMap annotations) {
  if (ZVState::isSDKPaused()) return std::nullopt;
  const ZVState& state = ZVState::sharedInstance();
  if (!state.sessionId) return std::nullopt;  // no session has begun, so there is nothing that could need an end

  annotations.set("event_uuid", randomUuid());
  addDimensionsAndFields(annotations, {}, false);
  std::optional<std::string> json = writeJson(annotations, ZVEvents::kMaxRecordLevels);
  if (!json) return std::nullopt;
  ZVStore::Snapshot snapshot{columnText(annotations, "session_id"), state.sessionStart.value_or(""), std::move(*json)};
  rememberForCrash(std::move(annotations), snapshot.json);
  return snapshot;
}

// The record as it is stored and sent. Absent when it can't be either, which has been logged.
std::optional<std::string> recordText(const ZVMap& record) {
  std::optional<std::string> json = writeJson(record, ZVEvents::kMaxRecordLevels);
  if (!json) {
    ZVLogger::w(
        0,
        "Could not add event: it holds text that is not UTF-8, or a number that is not finite, or lists and maps "
        "too deep in each other");
    return std::nullopt;
  }
  if (json->size() <= ZVEvents::kMaxRecordBytes) return json;
  ZVLogger::w(0, "Could not add event: its record would take {} bytes, and {} are allowed", json->size(),
              ZVEvents::kMaxRecordBytes);
  return std::nullopt;
}

}  // namespace

void ZVEvents::addEventToStoreWithEventData(const ZVMap& eventData, const std::optional<Counter>& counter) {
  if (!ZVState::sharedInstance().eventSubmissionEnabled || !mayStore(eventData)) return;

  ZVMap record = ZVState::getEventAnnotations();
  ZVMap annotations = record;
  for (const auto& [key, value] : eventData) record.set(key, value);
  std::optional<std::string> json = recordText(record);
  if (!json) return;
  ZVLogger::ii(0, "Event added to queue: {}", *json);
  const ZVStore::Event event{columnText(record, "category"), columnText(record, "session_id"),
                             columnText(record, "client_ts"), std::move(*json)};
  const bool ends = event.category == sharedInstance().categorySessionEnd;
  ZVStore::recordEvent(event, {ends ? std::nullopt : snapshotOf(std::move(annotations)), ends}, counter);
}

void ZVEvents::addDimensionsToEventWithEventData(ZVMap& eventData) {
  if (auto dimension = ZVState::getDimension01()) eventData.set("custom_01", std::move(*dimension));
  if (auto dimension = ZVState::getDimension02()) eventData.set("custom_02", std::move(*dimension));
  if (auto dimension = ZVState::getDimension03()) eventData.set("custom_03", std::move(*dimension));
}

void ZVEvents::addFieldsToEventWithEventData(ZVMap& eventData, ZVMap fields) {
  if (!fields.empty()) eventData.set("custom_fields", std::move(fields));
}

void ZVEvents::updateSessionTime() {
  if (const auto snapshot = snapshotOf(ZVState::getEventAnnotations())) ZVStore::keepSnapshot(*snapshot);
}

}  // namespace zorvane

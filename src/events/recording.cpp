#include <algorithm>
#include <atomic>
#include <string>
#include <utility>

#include "codecs/json.h"
#include "codecs/patterns.h"
#include "codecs/uuids.h"
#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "runtime/SdkErrorReporter.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "values/EventWords.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constinit std::atomic<ZVEvents::CommonFieldsKeeper> keeperInForce{nullptr};

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

// The common fields and their JSON, with which an event's record begins and of which its session's snapshot is made.
struct Common {
  ZVMap fields = ZVState::getEventAnnotations();
  std::optional<std::string> json = writeJson(fields, ZVEvents::kMaxRecordLevels);
};

// Two JSON maps without a common key as one. The first has entries.
std::string merged(std::string_view first, std::string_view second) {
  if (second == "{}") return std::string(first);
  std::string both;
  both.reserve(first.size() + second.size());
  return both.append(first.substr(0, first.size() - 1)).append(",").append(second.substr(1));
}

// A quote within a text is written with a backslash, so this is found where it stands only.
void giveAnotherId(std::string& json) {
  constexpr std::string_view kBefore = ",\"event_uuid\":\"";
  const std::string id = randomUuid();
  json.replace(json.find(kBefore) + kBefore.size(), id.size(), id);
}

// What the session's end would say if the game died now: the common fields, which are the last event's but for the id.
std::optional<ZVStore::Snapshot> snapshotOf(const Common& common) {
  if (ZVState::isSDKPaused() || !common.json) return std::nullopt;
  if (!ZVState::sessionId()) return std::nullopt;  // no session has begun, so there is nothing that could need an end

  ZVMap more;
  addDimensionsAndFields(more, {}, false);
  const auto moreJson = writeJson(more);
  if (!moreJson) return std::nullopt;
  std::string json = merged(*common.json, *moreJson);
  giveAnotherId(json);
  if (const auto keep = keeperInForce.load(std::memory_order_relaxed)) keep(json);
  return ZVStore::Snapshot{columnText(common.fields, "session_id"), ZVState::sessionStart(), std::move(json)};
}

bool haveCommonKey(const ZVMap& one, const ZVMap& other) {
  return std::ranges::any_of(one, [&](const auto& entry) { return other.contains(entry.key); });
}

std::optional<std::string> jsonOf(const Common& common, const ZVMap& eventData) {
  if (common.json && !haveCommonKey(eventData, common.fields)) {
    const auto json = writeJson(eventData, ZVEvents::kMaxRecordLevels);
    return json ? std::optional(merged(*common.json, *json)) : std::nullopt;
  }
  ZVMap record = common.fields;
  for (const auto& [key, value] : eventData) record.set(key, value);
  return writeJson(record, ZVEvents::kMaxRecordLevels);
}

// The record as it is stored and sent. Absent when it can't be either, which has been logged.
std::optional<std::string> recordText(const Common& common, const ZVMap& eventData) {
  std::optional<std::string> json = jsonOf(common, eventData);
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

void ZVEvents::setCommonFieldsKeeper(CommonFieldsKeeper keeper) noexcept { keeperInForce = keeper; }

void ZVEvents::addEventToStoreWithEventData(const ZVMap& eventData, const std::optional<Counter>& counter) {
  if (!ZVState::isEventSubmissionEnabled() || !mayStore(eventData)) return;

  const Common common;
  std::optional<std::string> json = recordText(common, eventData);
  if (!json) return;
  ZVLogger::ii(0, "Event added to queue: {}", *json);
  const auto column = [&](std::string_view key) {
    return columnText(eventData.contains(key) ? eventData : common.fields, key);
  };
  const ZVStore::Event event{column("category"), column("session_id"), column("client_ts"), std::move(*json)};
  const bool ends = event.category == Category::sessionEnd;
  ZVStore::recordEvent(event, {ends ? std::nullopt : snapshotOf(common), ends}, counter);
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
  if (const auto snapshot = snapshotOf(Common())) ZVStore::keepSnapshot(*snapshot);
}

}  // namespace zorvane

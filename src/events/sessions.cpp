#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include <zorvane/ZVNotificationCenter.h>

#include "codecs/json.h"
#include "codecs/uuids.h"
#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "values/EventWords.h"
#include "values/Text.h"

const char* const k_ZV_SessionDidStartNotification = "k_ZV_SessionDidStartNotification";

namespace zorvane {

namespace {

// Seconds from `start` to `end`, which may be anything that was stored; absent when it would be negative.
std::optional<std::int64_t> secondsBetween(std::int64_t start, std::int64_t end) {
  if (end < start) return std::nullopt;
  const std::uint64_t seconds = static_cast<std::uint64_t>(end) - static_cast<std::uint64_t>(start);
  return static_cast<std::int64_t>(std::min<std::uint64_t>(seconds, std::numeric_limits<std::int64_t>::max()));
}

// The end of a session that never got one, made of the latest that is known of it.
std::optional<ZVMap> missingEnd(const ZVStore::OpenSession& session) {
  const auto parsed = readJson(session.json);
  if (!parsed || parsed->ifMap() == nullptr) return std::nullopt;
  ZVMap end = *parsed->ifMap();
  end.set("session_id", session.sessionId);  // of the row, which goes with it: the text may have been damaged
  if (!session.lastSeen.empty()) {           // made of the session's start, which has an id and fields of its own
    end.set("client_ts", integerOfText(session.lastSeen));
    end.set("event_uuid", randomUuid());
    end.erase("install");
  }
  const ZVValue* lastSeen = end.find("client_ts");
  const auto length = secondsBetween(integerOfText(session.start), lastSeen != nullptr ? integerReading(*lastSeen) : 0);
  if (!length)
    ZVLogger::w(0,
                "While fixing missing session end event; the session length was calculated to be less then 0. Should "
                "not be possible. Resetting to 0.");
  end.set("category", Category::sessionEnd);
  end.set("length", length.value_or(0));
  return end;
}

std::int64_t sessionLength() {
  const auto now = static_cast<std::int64_t>(ZVState::getClientTsAdjustedWithServertimeOffset());
  const auto length = secondsBetween(integerOfText(ZVState::sessionStart()), now);
  if (!length)
    ZVLogger::w(0, "Session length was calculated to be less then 0. Should not be possible. Resetting to 0.");
  return length.value_or(0);
}

// Once the start is stored: an observer may end the session. Before it is sent, which may take long.
void notifySessionStart() { ZVNotificationCenter::post(k_ZV_SessionDidStartNotification, nullptr, ZVMap()); }

}  // namespace

void ZVEvents::addSessionStartEvent() {
  if (!ZVState::isEventSubmissionEnabled()) {
    notifySessionStart();
    return;
  }
  ZVMap event{{"category", Category::sessionStart}};
  if (ZVState::takeNewInstall()) event.set("install", true);
  ZVState::incrementSessionNum();
  addDimensionsAndFields(event, {}, false);
  ZVLogger::i(0, "Add SESSION START event");
  addEventToStoreWithEventData(event, Counter{"session_num", std::to_string(ZVState::getSessionNum())});
  notifySessionStart();
  processEventsWithCategory(Category::sessionStart, false);
}

void ZVEvents::addSessionEndEvent() {
  if (!ZVState::isEventSubmissionEnabled()) return;
  ZVMap event{{"category", Category::sessionEnd}, {"length", sessionLength()}};
  addDimensionsAndFields(event, {}, false);
  ZVLogger::i(0, "Add SESSION END event.");
  addEventToStoreWithEventData(event);
  processEventsWithCategory({}, false);
}

void ZVEvents::fixMissingSessionEndEvents() {
  if (!ZVState::isEventSubmissionEnabled()) return;
  ZVStore::forgetEndedSessions();
  const auto sessions = ZVStore::sessionsWithoutEnd(ZVState::sessionId().value_or(""));
  if (sessions.empty()) return;
  ZVLogger::d(0, "{} missing session_end events", sessions.size());
  for (const ZVStore::OpenSession& session : sessions)
    if (const auto end = missingEnd(session)) addEventToStoreWithEventData(*end);
}

}  // namespace zorvane

#include "collector/archive/FirstVersion.h"

#include <string>
#include <utility>

#include "collector/archive/Insertion.h"
#include "collector/archive/Schema.h"
#include "collector/archive/Sql.h"
#include "collector/base/Json.h"
#include "collector/base/Text.h"
#include "collector/records/Rows.h"
#include "collector/records/Rules.h"

namespace collector {

namespace {

constexpr std::int64_t kRowsATransaction = 1'000;
constexpr std::size_t kShownRecord = std::size_t{4} << 10U;  // of a refused one
constexpr auto kSetAside = R"(
  ALTER TABLE requests RENAME TO first_requests;
  ALTER TABLE inits RENAME TO first_inits;
  ALTER TABLE events RENAME TO first_events;
  ALTER TABLE rejected RENAME TO first_rejected;
)";
constexpr auto kGiveUp = R"(
  DROP TABLE first_events;
  DROP TABLE first_rejected;
  DROP TABLE first_inits;
  DROP TABLE first_requests;
)";

// A record of the first version, as it would come today. Its row borrows from its text.
struct Moved final : Taken {
  explicit Moved(std::string_view record) : text('[' + std::string(record) + ']'), texts(text) {}
  Moved(const Moved&) = delete;
  Moved& operator=(const Moved&) = delete;

  const std::string text;
  Texts texts;
};

std::string reasonsOf(const std::vector<std::string>& reasons) { return joinedJson('[', reasons, ']', quotedJson); }

void read(Moved& moved) {
  const std::string_view whole(moved.text.data() + 1, moved.text.size() - 2);
  Findings findings;
  const auto failure = forEachElement(moved.text, [&](const JsonValue& record, std::string_view text) {
    const auto members = readRecord(record, text.size(), findings);
    for (const auto& note : findings.notes) ++moved.notes[note];
    if (findings.good) moved.rows.push_back(rowOf(members, text, moved.texts));
  });
  if (!failure.empty()) findings.reasons = {failure};
  if (failure.empty() && findings.good) return;
  moved.rows.clear();
  moved.rejected.push_back({0, reasonsOf(findings.reasons), prefixOf(whole, kShownRecord)});
}

bool isSetAside(sqlite3* database) {
  return Statement(database, "SELECT 1 FROM sqlite_master WHERE name = 'first_requests'").step();
}

void setAside(sqlite3* database) {
  Transaction transaction(database);
  execute(database, kSetAside);
  addTables(database);
  transaction.commit();
}

// What was moved is deleted in the same transaction, so it is there once at any time. False when there was nothing
// left.
bool moveEvents(sqlite3* database) {
  Insertion insertion(database);
  Transaction transaction(database);
  Statement rows(
      database,
      "SELECT e.id, ifnull(r.game_key, ''), ifnull(r.received_at, 0), e.record FROM first_events e LEFT JOIN "
      "first_requests r ON r.id = e.request_id ORDER BY e.id LIMIT ?");
  std::int64_t last = 0;
  for (rows.with(kRowsATransaction); rows.step(); last = rows.integer(0)) {
    Moved moved(rows.text(3));
    moved.game = rows.text(1);
    moved.receivedAt = rows.integer(2);
    read(moved);
    insertion.insert(moved);
  }
  insertion.finish();
  const auto count = Statement(database, "DELETE FROM first_events WHERE id <= ?").with(last).run();
  transaction.commit();
  return count > 0;
}

bool moveRefused(sqlite3* database) {
  Insertion insertion(database);
  Transaction transaction(database);
  Statement rows(
      database,
      "SELECT e.id, ifnull(r.game_key, ''), ifnull(r.received_at, 0), e.position, e.reasons, "
      "ifnull(e.record, '') FROM first_rejected e LEFT JOIN first_requests r ON r.id = e.request_id ORDER BY "
      "e.id LIMIT ?");
  std::int64_t last = 0;
  for (rows.with(kRowsATransaction); rows.step(); last = rows.integer(0)) {
    Taken taken;
    taken.game = rows.text(1);
    taken.receivedAt = rows.integer(2);
    taken.rejected.push_back(
        {static_cast<std::size_t>(rows.integer(3)), std::string(rows.text(4)), prefixOf(rows.text(5), kShownRecord)});
    insertion.insert(taken);
  }
  const auto count = Statement(database, "DELETE FROM first_rejected WHERE id <= ?").with(last).run();
  transaction.commit();
  return count > 0;
}

}  // namespace

void moveFirstVersion(sqlite3* database) {
  if (!isSetAside(database)) setAside(database);
  while (moveEvents(database)) continue;
  while (moveRefused(database)) continue;
  Transaction transaction(database);
  execute(database, kGiveUp);
  execute(database, "PRAGMA user_version = 2");
  transaction.commit();
}

}  // namespace collector

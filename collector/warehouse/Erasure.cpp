#include "collector/warehouse/Erasure.h"

#include <fmt/format.h>

#include <ctime>
#include <thread>
#include <vector>

#include "collector/archive/Upkeep.h"
#include "collector/warehouse/Literals.h"
#include "collector/warehouse/Tables.h"

namespace collector {

namespace {

constexpr auto kBetweenLooks = std::chrono::milliseconds(100);
constexpr std::int64_t kMostAtOnce = 100;

struct Note {
  std::string game, userId;
  std::int64_t at;
};

// An archive that never had a warehouse has nothing to remove there. One that had still has to.
void note(sqlite3* archive, std::string_view game, std::string_view userId) {
  Statement(archive,
            "INSERT OR REPLACE INTO erasures(game, user_id, at) SELECT ?, ?, ? WHERE EXISTS (SELECT 1 FROM facts WHERE "
            "name = 'handed_on')")
      .with(game, userId, std::int64_t{std::time(nullptr)})
      .run();
}

// Who was erased isn't kept, but that somebody was: processes that remember players see by it that they have to forget.
std::int64_t count(sqlite3* archive) {
  Statement next(archive,
                 "INSERT INTO facts(name, value) VALUES('erased', 1) ON CONFLICT(name) DO UPDATE SET value = value + 1 "
                 "RETURNING CAST(value AS INTEGER)");
  next.step();
  return next.integer(0);
}

bool isNoted(Store& archive, std::string_view game, std::string_view userId) {
  bool isThere = false;
  archive.read([&](sqlite3* database) {
    isThere = Statement(database, "SELECT 1 FROM erasures WHERE game = ? AND user_id = ?").with(game, userId).step();
  });
  return isThere;
}

std::vector<Note> notes(Store& archive) {
  std::vector<Note> notes;
  archive.read([&](sqlite3* database) {
    Statement rows(database, "SELECT game, user_id, at FROM erasures ORDER BY at LIMIT ?");
    rows.with(kMostAtOnce);
    while (rows.step()) notes.push_back({std::string(rows.text(0)), std::string(rows.text(1)), rows.integer(2)});
  });
  return notes;
}

// What was received up to the erasure: who plays on is a player like any other.
std::string conditionOf(const std::vector<Note>& notes, const char* time) {
  std::string sql;
  for (const Note& each : notes)
    sql += fmt::format("{}(game = {} AND player = sipHash64({}) AND {} <= {})", sql.empty() ? "" : " OR ",
                       literal(each.game), literal(each.userId), time, each.at);
  return sql;
}

void remove(Store& archive, const std::vector<Note>& notes) {
  const bool removed = archive.writeNow([&](sqlite3* database) {
    Statement one(database, "DELETE FROM erasures WHERE game = ? AND user_id = ? AND at = ?");
    for (const Note& each : notes) one.with(std::string_view(each.game), std::string_view(each.userId), each.at).run();
  });
  if (!removed) throw WarehouseFailure("the archive can't remove the notes of erasures");
}

}  // namespace

std::optional<Erased> erase(Store& archive, const std::string& game, const std::string& userId,
                            std::chrono::milliseconds patience) {
  Erased erased;
  const bool kept = archive.writeNow([&](sqlite3* database) {
    erased.events = erasePlayer(database, game, userId);
    erased.number = count(database);
    note(database, game, userId);
  });
  if (!kept) return std::nullopt;
  const auto end = std::chrono::steady_clock::now() + patience;
  while ((erased.isPending = isNoted(archive, game, userId)) && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(kBetweenLooks);
  erased.isInLog = !archive.emptyLog();  // last: the note names the player, too
  return erased;
}

void noteErasuresFromNowOn(sqlite3* archive) {
  Statement(archive, "INSERT OR IGNORE INTO facts(name, value) VALUES('handed_on', 0)").run();
}

std::int64_t pendingErasures(sqlite3* archive) {
  Statement count(archive, "SELECT count(*) FROM erasures");
  count.step();
  return count.integer(0);
}

std::int64_t lastErasure(Store& archive) {
  std::int64_t number = 0;
  archive.read([&](sqlite3* database) {
    Statement last(database, "SELECT CAST(value AS INTEGER) FROM facts WHERE name = 'erased'");
    if (last.step()) number = last.integer(0);
  });
  return number;
}

bool eraseNoted(Store& archive, const ClickHouse& warehouse, std::string_view name) {
  const auto pending = notes(archive);
  if (pending.empty()) return false;
  const std::string unfinished = warehouse.run(fmt::format(
      "SELECT count() FROM system.mutations WHERE database = {} AND is_done = 0", literal(warehouse.database())));
  if (unfinished != "0\n") return true;
  bool isThere = false;
  for (const auto& [table, time] : kWarehouseTables) {
    const std::string condition = conditionOf(pending, time);
    if (warehouse.run(fmt::format("SELECT count() FROM {} WHERE {}", table, condition), name) == "0\n") continue;
    isThere = true;
    (void)warehouse.run(fmt::format("ALTER TABLE {} DELETE WHERE {}", table, condition), name);
  }
  if (!isThere) remove(archive, pending);
  return isThere || static_cast<std::int64_t>(pending.size()) == kMostAtOnce;
}

}  // namespace collector

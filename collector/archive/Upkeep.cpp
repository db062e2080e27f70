#include "collector/archive/Upkeep.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "collector/archive/Figures.h"
#include "collector/archive/Schema.h"
#include "collector/base/Json.h"

namespace collector {

namespace {

constexpr std::int64_t kRowsAStep = 2'000;
constexpr std::int64_t kBytesAStep = kRowsAStep * std::int64_t{sizeof(Figure)};  // of figures

// What deleted events were parts of.
struct Traces {
  std::set<std::tuple<std::int64_t, std::int64_t, std::int64_t>> days;  // game, player, day
  std::set<std::pair<std::int64_t, std::vector<std::uint8_t>>> sessions;
  std::set<std::int64_t> players;
};

constexpr auto kForget = std::to_array({"DELETE FROM sessions WHERE player = ?",
                                        "DELETE FROM spending WHERE player = ?", "DELETE FROM players WHERE id = ?"});

Traces tracesOf(sqlite3* database, std::int64_t newest) {
  Traces traces;
  Statement rows(database, "SELECT game, player, client_ts / ?, session FROM events WHERE id <= ? AND player > 0");
  for (rows.with(kSecondsADay, newest); rows.step();) {
    const std::int64_t player = rows.integer(1);
    const Bytes session = rows.bytes(3);
    traces.days.emplace(rows.integer(0), player, rows.integer(2));
    traces.sessions.emplace(player, std::vector(session.begin(), session.end()));
    traces.players.insert(player);
  }
  return traces;
}

void pruneTraces(sqlite3* database, const Traces& traces) {
  Statement day(database,
                "DELETE FROM player_days WHERE game = ?1 AND player = ?2 AND day = ?3 AND NOT EXISTS (SELECT 1 FROM "
                "events WHERE player = ?2 AND client_ts BETWEEN ?3 * ?4 AND ?3 * ?4 + ?4 - 1)");
  for (const auto& [game, player, number] : traces.days) day.with(game, player, number, kSecondsADay).run();
  Statement session(database,
                    "DELETE FROM sessions WHERE player = ?1 AND session = ?2 AND NOT EXISTS (SELECT 1 FROM events e "
                    "WHERE e.player = ?1 AND e.client_ts BETWEEN first_ts AND last_ts AND e.session = ?2)");
  for (const auto& [player, bytes] : traces.sessions) session.with(player, Bytes(bytes)).run();
  Statement isThere(database, "SELECT 1 FROM events WHERE player = ? LIMIT 1");
  std::vector<Statement> forget;
  forget.reserve(kForget.size());
  for (const char* sql : kForget) forget.emplace_back(database, sql);
  for (const std::int64_t player : traces.players) {
    const bool stays = isThere.with(player).step();
    isThere.reset();
    if (stays) continue;
    for (Statement& each : forget) each.with(player).run();
  }
}

// By stretches: what is in one came together. 0 where the oldest is too young.
std::int64_t lastOfTheOldest(sqlite3* database, std::int64_t before, std::int64_t last) {
  Statement stretches(database, "SELECT last, received_at, length(packed) FROM figures WHERE last <= ? ORDER BY last");
  std::int64_t newest = 0, bytes = 0;
  for (stretches.with(last); bytes < kBytesAStep && stretches.step() && stretches.integer(1) < before;) {
    newest = stretches.integer(0);
    bytes += stretches.integer(2);
  }
  return newest;
}

bool pruneEvents(sqlite3* database, std::int64_t before, std::int64_t last) {
  const std::int64_t newest = lastOfTheOldest(database, before, last);
  if (newest == 0) return true;
  const Traces traces = tracesOf(database, newest);
  for (const char* sql : {"DELETE FROM figures WHERE last <= ?", "DELETE FROM events WHERE id <= ?"})
    Statement(database, sql).with(newest).run();
  pruneTraces(database, traces);
  return false;
}

bool pruneRefused(sqlite3* database, std::int64_t before) {
  // They are numbered as they arrive, so the oldest ones stand together.
  const std::int64_t count =
      Statement(
          database,
          "DELETE FROM rejected WHERE id <= (SELECT max(id) FROM (SELECT id, received_at FROM rejected ORDER BY id "
          "LIMIT ?2) WHERE received_at < ?1)")
          .with(before, kRowsAStep)
          .run();
  Statement(database, "DELETE FROM notes WHERE last_at < ?").with(before).run();
  return count < kRowsAStep;
}

std::optional<std::int64_t> numberOf(sqlite3* database, std::string_view sql, auto... values) {
  Statement find(database, sql);
  return find.with(values...).step() ? std::optional(find.integer(0)) : std::nullopt;
}

std::string_view afterSpace(std::string_view text) {
  const auto at = text.find_first_not_of(" \t\r\n");
  return at == std::string_view::npos ? std::string_view() : text.substr(at);
}

// Whether a JSON text that begins at `text`, and may be cut, says `value`.
bool saysText(std::string_view text, std::string_view value) {
  if (!text.starts_with('"')) return false;
  std::size_t end = 1;
  while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
  const bool isCut = end >= text.size();
  if (isCut) return text.size() > 1 && value.starts_with(text.substr(1));
  const auto parsed = parseJson(text.substr(0, end + 1));
  return parsed.failure.empty() && parsed.document.IsString() && textOf(parsed.document) == value;
}

bool namesPlayer(std::string_view record, std::string_view userId) {
  constexpr std::string_view kMember = R"("user_id")";
  for (auto at = record.find(kMember); at != std::string_view::npos; at = record.find(kMember, at + 1)) {
    const auto behind = afterSpace(record.substr(at + kMember.size()));
    if (behind.starts_with(':') && saysText(afterSpace(behind.substr(1)), userId)) return true;
  }
  return false;
}

void eraseRefused(sqlite3* database, std::int64_t game, std::string_view userId) {
  std::vector<std::int64_t> refused;
  Statement rows(database, "SELECT id, record FROM rejected WHERE game = ?");
  for (rows.with(game); rows.step();)
    if (namesPlayer(rows.text(1), userId)) refused.push_back(rows.integer(0));
  Statement remove(database, "DELETE FROM rejected WHERE id = ?");
  for (const std::int64_t each : refused) remove.with(each).run();
}

// Day by day: the table is sorted so.
void eraseDays(sqlite3* database, std::int64_t game, std::int64_t player) {
  Statement next(database, "SELECT min(day) FROM player_days WHERE game = ? AND day > ?");
  Statement remove(database, "DELETE FROM player_days WHERE game = ? AND day = ? AND player = ?");
  for (std::int64_t day = -1; next.with(game, day).step() && !next.isNothing(0);) {
    day = next.integer(0);
    next.reset();
    remove.with(game, day, player).run();
  }
}

// Numbers that a table's rows refer to.
void collect(sqlite3* database, const std::string& sql, std::set<std::int64_t>& used) {
  Statement rows(database, sql);
  while (rows.step())
    for (int column = 0; column < rows.columns(); ++column) used.insert(rows.integer(column));
}

void keepOnly(sqlite3* database, const char* table, const std::set<std::int64_t>& used) {
  std::set<std::int64_t> all;
  collect(database, fmt::format("SELECT id FROM {}", table), all);
  Statement remove(database, fmt::format("DELETE FROM {} WHERE id = ?", table));
  for (const std::int64_t each : all)
    if (!used.contains(each)) remove.with(each).run();
}

std::string columnsOf(const Combinations& combinations) {
  std::string columns;
  for (const Column column : combinations.columns)
    columns += fmt::format("{}{}", columns.empty() ? "" : ", ", nameOf(column));
  return columns;
}

}  // namespace

bool pruneStep(sqlite3* database, std::int64_t before, std::int64_t last) {
  const bool areEventsDone = pruneEvents(database, before, last);
  return pruneRefused(database, before) && areEventsDone;
}

void addUse(sqlite3* database, Use& use) {
  Statement events(database, "SELECT id, topic, segment, device_id FROM events WHERE id > ? ORDER BY id");
  for (events.with(use.upTo); events.step(); use.upTo = events.integer(0))
    for (std::size_t which = 0; which < use.combinations.size(); ++which)
      use.combinations[which].insert(events.integer(static_cast<int>(which) + 1));
}

void pruneNames(sqlite3* database, Use use) {
  addUse(database, use);
  std::set<std::int64_t> names;
  for (std::size_t which = 0; which < kCombinations.size(); ++which) {
    keepOnly(database, kCombinations[which].table, use.combinations[which]);
    collect(database, fmt::format("SELECT {} FROM {}", columnsOf(kCombinations[which]), kCombinations[which].table),
            names);
  }
  collect(database, "SELECT currency FROM spending", names);
  keepOnly(database, "names", names);
}

std::int64_t erasePlayer(sqlite3* database, std::string_view game, std::string_view userId) {
  const auto gameNumber = numberOf(database, "SELECT id FROM games WHERE key = ?", game);
  if (!gameNumber) return 0;
  eraseRefused(database, *gameNumber, userId);
  const auto player = numberOf(database, "SELECT id FROM players WHERE game = ? AND user_id = ?", *gameNumber, userId);
  if (!player) return 0;
  eraseFigures(database, *player);
  const std::int64_t events = Statement(database, "DELETE FROM events WHERE player = ?").with(*player).run();
  eraseDays(database, *gameNumber, *player);
  for (const char* sql : kForget) Statement(database, sql).with(*player).run();
  return events;
}

// Under its name once it is whole and on disk: one that is killed leaves a file of another name behind. It is its
// owner's alone from its first byte on, and nobody's file is written over.
void backUp(const std::string& path, const std::string& target) {
  const auto failed = [&] { return SqlFailure(fmt::format("{} can't be made: {}", target, std::strerror(errno))); };
  errno = EEXIST;
  if (::access(target.c_str(), F_OK) == 0) throw failed();  // rather than after all the work
  std::string partial = target + ".XXXXXX";
  const int file = ::mkostemp(partial.data(), O_CLOEXEC);
  if (file < 0) throw failed();
  std::optional<SqlFailure> failure;
  try {
    const auto database = openDatabase(path, OpenFor::reading);
    Statement(database.get(), "VACUUM INTO ?").with(std::string_view(partial)).run();
    if (::fsync(file) != 0 || ::link(partial.c_str(), target.c_str()) != 0) failure = failed();
  } catch (const SqlFailure& thrown) {
    failure = thrown;
  }
  ::unlink(partial.c_str());
  ::close(file);
  if (failure) throw *failure;
}

}  // namespace collector

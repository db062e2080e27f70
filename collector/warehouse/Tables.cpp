#include "collector/warehouse/Tables.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <unordered_map>

#include "collector/archive/Schema.h"
#include "collector/archive/Sql.h"
#include "collector/archive/Uuid.h"
#include "collector/warehouse/Literals.h"

namespace collector {

namespace {

constexpr std::size_t kMaxBytes = std::size_t{32} << 20U;

const char* typeOf(Column column) {
  switch (kColumns[static_cast<std::size_t>(column)].kind) {
    case Kind::whole: return "Nullable(Int64)";
    case Kind::number: return "Nullable(Float64)";
    case Kind::text: break;
  }
  return "String";
}

// The columns that events bring, each with what `form` makes of it, in the order of a row's fields.
template <class Form>
std::string eachColumn(Form form) {
  std::string all = form("game", "String");
  for (const Combinations& each : kCombinations)
    for (const Column column : each.columns) all += ", " + form(nameOf(column), "String");
  constexpr std::array<std::array<std::string_view, 2>, 8> kOwn = {{{"user_id", "String"},
                                                                    {"has_player", "UInt8"},
                                                                    {"session_id", "String"},
                                                                    {"event_uuid", "UUID"},
                                                                    {"client_ts", "Int64"},
                                                                    {"received_at", "Int64"},
                                                                    {"measure", "Int64"},
                                                                    {"is_measured", "UInt8"}}};
  for (const auto& [name, type] : kOwn) all += ", " + form(name, type);
  for (const Column column : kEventColumns) all += ", " + form(nameOf(column), typeOf(column));
  return all + ", " + form("record", "String");
}

// A number is compared and grouped sooner than a text, so game and category are one in the key, and so is the player. A
// partition holds a day, so that those of the past settle, and each thousandth day shares one, so that wrong or hostile
// clocks can't make more than so many.
std::string eventsTable() {
  const auto typed = [](std::string_view name, std::string_view type) { return fmt::format("{} {}", name, type); };
  return fmt::format(
      "CREATE TABLE IF NOT EXISTS events ({}, kind UInt64 DEFAULT sipHash64(game, category), day Int64 "
      "DEFAULT intDiv(client_ts, {}), player UInt64 DEFAULT sipHash64(user_id)) ENGINE = ReplacingMergeTree "
      "PARTITION BY intDiv(client_ts, {}) % 1000 ORDER BY (kind, client_ts, event_uuid)",
      eachColumn(typed), kSecondsADay, kSecondsADay);
}

std::string segmentColumns(const char* after) {
  std::string all;
  for (const Column column : kSegmentColumns) all += fmt::format(", {}{}", nameOf(column), after);
  return all;
}

std::string playerDays() {
  return fmt::format(
      "CREATE TABLE IF NOT EXISTS player_days (game String, day Int64, player UInt64{}, seen_at Int64) ENGINE = "
      "ReplacingMergeTree(seen_at) PARTITION BY if(day < 17361 OR day > 46296, 0, intDiv(day, 30)) ORDER BY (game, "
      "day, player{})",
      segmentColumns(" String"), segmentColumns(""));
}

std::string playerDaysView() {
  return fmt::format(
      "CREATE MATERIALIZED VIEW IF NOT EXISTS player_days_of_events TO player_days AS SELECT game, intDiv(client_ts, "
      "{}) "
      "AS day, sipHash64(user_id) AS player{}, max(received_at) AS seen_at FROM events WHERE has_player = 1 GROUP BY "
      "game, day, player{}",
      kSecondsADay, segmentColumns(""), segmentColumns(""));
}

// A combination's texts as fields, by its number.
class Fields {
 public:
  Fields(sqlite3* archive, const Combinations& combinations)
      : size_(combinations.columns.size()), rows_(archive, sqlFor(combinations)) {}

  const std::string& of(std::int64_t id) {
    auto [known, isNew] = known_.try_emplace(id);
    if (!isNew) return known->second;
    rows_.with(id).step();
    for (std::size_t column = 0; column < size_; ++column) {
      known->second += '\t';
      addField(known->second, rows_.text(static_cast<int>(column)));
    }
    rows_.reset();
    return known->second;
  }

 private:
  static std::string sqlFor(const Combinations& combinations) {
    std::string sql;
    for (const Column column : combinations.columns)
      sql += fmt::format("{}(SELECT text FROM names WHERE id = {})", sql.empty() ? "SELECT " : ", ", nameOf(column));
    return fmt::format("{} FROM {} WHERE id = ?", sql, combinations.table);
  }

  const std::size_t size_;
  Statement rows_;
  std::unordered_map<std::int64_t, std::string> known_;
};

std::string archiveSql() {
  std::string sql =
      "SELECT e.id, (SELECT key FROM games WHERE id = e.game), e.topic, e.segment, e.device_id, (SELECT user_id FROM "
      "players WHERE id = e.player), e.player > 0, e.session, e.uuid, e.client_ts, e.received_at, "
      "ifnull(e.measure, 0), e.measure IS NOT NULL";
  for (const Column column : kEventColumns) sql += fmt::format(", e.{}", nameOf(column));
  return sql + ", e.record FROM events e WHERE e.id > ? ORDER BY e.id LIMIT ?";
}

}  // namespace

void prepareWarehouse(const ClickHouse& warehouse) {
  warehouse.makeDatabase();
  for (const std::string& sql : {eventsTable(), playerDays(), playerDaysView()}) (void)warehouse.run(sql);
  // Another kind of server may say yes to everything.
  const std::string known =
      fmt::format("SELECT count() FROM system.tables WHERE database = {} AND name IN ({}, {})",
                  literal(warehouse.database()), literal(kWarehouseTables[0].name), literal(kWarehouseTables[1].name));
  if (warehouse.run(known) != "2\n") throw WarehouseFailure("what answers there is no warehouse");
}

std::string insertStatement() {
  return fmt::format("INSERT INTO events({}) FORMAT TabSeparated",
                     eachColumn([](std::string_view name, std::string_view) { return std::string(name); }));
}

Handover nextHandover(sqlite3* archive, std::int64_t after, std::int64_t most) {
  Fields topics(archive, kCombinations[0]), segments(archive, kCombinations[1]), devices(archive, kCombinations[2]);
  Statement events(archive, archiveSql());
  events.with(after, most);
  Handover handover;
  std::string& rows = handover.rows;
  rows.reserve(kMaxBytes + kMaxBytes / 8);  // growing would take twice as much
  while (rows.size() < kMaxBytes && events.step()) {
    ++handover.count;
    handover.last = events.integer(0);
    addField(rows, events.text(1));
    rows += topics.of(events.integer(2));
    rows += segments.of(events.integer(3));
    rows += devices.of(events.integer(4));
    rows += '\t';
    addField(rows, events.text(5));
    fmt::format_to(std::back_inserter(rows), "\t{}\t", events.integer(6));
    rows += uuidText(events.bytes(7));
    rows += '\t';
    rows += uuidText(events.bytes(8));
    for (int column = 9; column <= 12; ++column)
      fmt::format_to(std::back_inserter(rows), "\t{}", events.integer(column));
    int column = 13;
    for (const Column each : kEventColumns) {
      rows += '\t';
      const Kind kind = kColumns[static_cast<std::size_t>(each)].kind;
      if (kind == Kind::text) addField(rows, events.text(column));
      else if (events.isNothing(column)) rows += "\\N";
      else if (kind == Kind::whole) fmt::format_to(std::back_inserter(rows), "{}", events.integer(column));
      else fmt::format_to(std::back_inserter(rows), "{}", events.number(column));
      ++column;
    }
    rows += '\t';
    addField(rows, events.text(column));
    rows += '\n';
  }
  handover.isFull = handover.count == most || rows.size() >= kMaxBytes;
  return handover;
}

}  // namespace collector

#include "collector/archive/Schema.h"

#include <fmt/format.h>

#include <string>

namespace collector {

namespace {

constexpr auto kTables = R"(
  CREATE TABLE games(id INTEGER PRIMARY KEY, key TEXT NOT NULL UNIQUE);
  CREATE TABLE names(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE);
  CREATE TABLE players(id INTEGER PRIMARY KEY, game INTEGER NOT NULL, user_id TEXT NOT NULL, first_day INTEGER NOT NULL,
    last_day INTEGER NOT NULL, UNIQUE(game, user_id));
  CREATE INDEX players_by_first_day ON players(game, first_day);
  CREATE TABLE player_days(game INTEGER, day INTEGER, player INTEGER, segment INTEGER, events INTEGER, sessions INTEGER,
    ended INTEGER, seconds INTEGER, PRIMARY KEY(game, day, player, segment)) WITHOUT ROWID;
  CREATE TABLE spending(player INTEGER, currency INTEGER, purchases INTEGER, amount INTEGER, first_day INTEGER,
    PRIMARY KEY(player, currency)) WITHOUT ROWID;
  CREATE TABLE sessions(player INTEGER, session BLOB, segment INTEGER, first_ts INTEGER, last_ts INTEGER,
    length INTEGER, events INTEGER, PRIMARY KEY(player, session)) WITHOUT ROWID;
  CREATE TABLE figures(last INTEGER PRIMARY KEY, received_at INTEGER NOT NULL, first_ts INTEGER NOT NULL, last_ts
    INTEGER NOT NULL, packed BLOB NOT NULL);
  CREATE TABLE rejected(id INTEGER PRIMARY KEY AUTOINCREMENT, game INTEGER NOT NULL, received_at INTEGER NOT NULL,
    position INTEGER NOT NULL, reasons TEXT NOT NULL, record TEXT NOT NULL);
  CREATE TABLE notes(game INTEGER, note TEXT, first_at INTEGER NOT NULL, last_at INTEGER NOT NULL, times INTEGER NOT
    NULL, PRIMARY KEY(game, note)) WITHOUT ROWID;
  CREATE TABLE configurations(version INTEGER PRIMARY KEY AUTOINCREMENT, game TEXT NOT NULL, at INTEGER NOT NULL,
    author TEXT NOT NULL, note TEXT NOT NULL, document TEXT NOT NULL);
  CREATE INDEX configurations_by_game ON configurations(game, version);
  CREATE TABLE erasures(game TEXT, user_id TEXT, at INTEGER NOT NULL, PRIMARY KEY(game, user_id)) WITHOUT ROWID;
  CREATE TABLE facts(name TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID;
)";

constexpr auto kIndexes = R"(
  CREATE UNIQUE INDEX events_by_player ON events(player, client_ts, uuid);
  CREATE INDEX topics_by_category ON topics(game, category);
)";

std::string tableOf(const Combinations& combinations) {
  std::string columns, names;
  for (const Column column : combinations.columns) {
    columns += fmt::format(", {} INTEGER NOT NULL", nameOf(column));
    names += fmt::format(", {}", nameOf(column));
  }
  return fmt::format("CREATE TABLE {}(id INTEGER PRIMARY KEY, game INTEGER NOT NULL{}, UNIQUE(game{}));",
                     combinations.table, columns, names);
}

const char* typeOf(Column column) {
  switch (kColumns[static_cast<std::size_t>(column)].kind) {
    case Kind::whole: return "INTEGER";
    case Kind::number: return "REAL";
    case Kind::text: break;
  }
  return "TEXT";
}

std::string eventsTable() {
  std::string sql =
      "CREATE TABLE events(id INTEGER PRIMARY KEY AUTOINCREMENT, game INTEGER NOT NULL, topic INTEGER NOT NULL, "
      "segment INTEGER NOT NULL, device_id INTEGER NOT NULL, player INTEGER NOT NULL, session BLOB, uuid BLOB NOT "
      "NULL, "
      "client_ts INTEGER NOT NULL, received_at INTEGER NOT NULL, measure INTEGER";
  for (const Column column : kEventColumns) sql += fmt::format(", {} {}", nameOf(column), typeOf(column));
  return sql + ", record TEXT NOT NULL);";
}

// Events for people who look into the file by themselves.
std::string eventView() {
  std::string sql =
      "CREATE VIEW event AS SELECT e.id, (SELECT key FROM games WHERE id = e.game) AS game, e.client_ts, "
      "e.received_at, lower(hex(e.uuid)) AS event_uuid, (SELECT user_id FROM players WHERE id = e.player) AS user_id, "
      "lower(hex(e.session)) AS session_id";
  std::string joins;
  for (const Combinations& each : kCombinations) {
    joins += fmt::format(" JOIN {0} ON {0}.id = e.{1}", each.table, each.reference);
    for (const Column column : each.columns)
      sql += fmt::format(", (SELECT text FROM names WHERE id = {0}.{1}) AS {1}", each.table, nameOf(column));
  }
  for (const Column column : kEventColumns) sql += fmt::format(", e.{}", nameOf(column));
  return sql + ", e.record FROM events e" + joins + ";";
}

}  // namespace

void addTables(sqlite3* database) {
  std::string sql = kTables + eventsTable();
  for (const Combinations& each : kCombinations) sql += tableOf(each);
  execute(database, sql + kIndexes + eventView());
}

void makeTables(sqlite3* database) {
  Transaction transaction(database);
  addTables(database);
  execute(database, fmt::format("PRAGMA user_version = {}", kSchemaVersion));
  transaction.commit();
}

}  // namespace collector

#include <sqlite3.h>

#include <array>
#include <filesystem>
#include <string>
#include <system_error>

#include "events/SdkError.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"

namespace {

struct Table {
  const char* create;
  const char* probe;
  const char* drop;
  std::string_view corrupt;
};
constexpr auto kTables = std::to_array<Table>({
    {"CREATE TABLE IF NOT EXISTS zv_events(status CHAR(50) NOT NULL, category CHAR(50) NOT NULL, session_id CHAR(50) "
     "NOT NULL, client_ts CHAR(50) NOT NULL, event TEXT NOT NULL);",
     "SELECT status FROM zv_events LIMIT 0,1", "DROP TABLE zv_events", "zv_events corrupt, recreating."},
    {"CREATE TABLE IF NOT EXISTS zv_session(session_id CHAR(50) PRIMARY KEY NOT NULL, timestamp CHAR(50) NOT NULL, "
     "event TEXT NOT NULL);",
     "SELECT session_id FROM zv_session LIMIT 0,1", "DROP TABLE zv_session", "zv_session corrupt, recreating."},
    {"CREATE TABLE IF NOT EXISTS zv_state(key CHAR(255) PRIMARY KEY NOT NULL, value TEXT);",
     "SELECT key FROM zv_state LIMIT 0,1", "DROP TABLE zv_state", "zv_state corrupt, recreating."},
    {"CREATE TABLE IF NOT EXISTS zv_progression(progression CHAR(255) PRIMARY KEY NOT NULL, tries CHAR(255));",
     "SELECT progression FROM zv_progression LIMIT 0,1", "DROP TABLE zv_progression", "zv_state corrupt, recreating."},
});

// Small pages keep what one event writes small (two transactions rewrite a handful of pages), and a small checkpoint
// interval keeps the file's size, by which events are refused, close to what the database holds. In this mode a commit
// survives a killed process without a sync; only a power cut may take the latest ones.
constexpr auto kSettings = std::to_array<const char*>({
    "PRAGMA page_size = 1024", "PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL",
    "PRAGMA wal_autocheckpoint = 1000",
    "PRAGMA journal_size_limit = 1048576",  // what one large transaction took is given back
});
constexpr int kBusyMilliseconds = 3000;  // another process of the same game may be writing

bool open(ZVStore& store) {
  const bool inMemory = ZVState::isTVos();  // there the path is a URI, which only these flags make SQLite read
  sqlite3* handle = nullptr;
  const int result = inMemory ? sqlite3_open_v2(store.dbPath.c_str(), &handle,
                                                SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI, nullptr)
                              : sqlite3_open(store.dbPath.c_str(), &handle);
  store.database.reset(handle);  // a failed open still yields a handle
  store.dbReady = result == SQLITE_OK;
  if (store.dbReady) {
    ZVLogger::d(0, "Database opened: {}", store.dbPath);
    return true;
  }
  ZVLogger::d(0, "Could not open database: {}", store.dbPath);
  ZVEvents::sendSdkErrorEventWithCategory(kCategoryDb, kAreaSql, kActionDbOpenOrCreate,
                                          "openDatabaseResult: " + std::to_string(result), ZVState::getGameKey(),
                                          ZVState::getGameSecret());
  return false;
}

void configure(sqlite3* database) {
  sqlite3_busy_timeout(database, kBusyMilliseconds);
  sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);  // trimming quotes session ids doubly
  // One by one: a log that can't be had (another process is at it) must not cost the other settings.
  for (const char* setting : kSettings) sqlite3_exec(database, setting, nullptr, nullptr, nullptr);
}

void dropTables() {
  ZVLogger::d(0, "Drop tables");
  for (const char* sql :
       {"DROP TABLE zv_events", "DROP TABLE zv_state", "DROP TABLE zv_session", "DROP TABLE zv_progression"})
    ZVStore::executeQuerySyncWithSql(sql);
  ZVStore::vacuum();
}

bool ensureTable(const Table& table) {
  if (!ZVStore::executeQuerySyncWithSql(table.create)) return false;
  if (ZVStore::executeQuerySyncWithSql(table.probe)) return true;
  ZVLogger::d(0, "{}", table.corrupt);
  ZVStore::executeQuerySyncWithSql(table.drop);
  return ZVStore::executeQuerySyncWithSql(table.create).has_value();
}

std::string joinedSessionIds(const ZVStore::Rows& rows) {
  std::string joined;
  for (const ZVStore::Row& row : rows) {
    const std::string* id = row.find("session_id");
    if (id == nullptr) continue;
    if (!joined.empty()) joined += "\",\"";
    joined += *id;
  }
  return joined;
}

}  // namespace

bool ZVStore::ensureDatabase(bool drop) {
  ZVStore& store = sharedInstance();
  if (!open(store)) return false;
  configure(store.database.get());
  if (drop) dropTables();
  for (const Table& table : kTables)
    if (!ensureTable(table)) return false;
  // A run that was killed may have left the file larger than what it holds.
  executeQuerySyncWithSql("PRAGMA wal_checkpoint(TRUNCATE)");
  trimEventTable();
  store.tableReady = true;
  ZVLogger::d(0, "Database tables ensured present");
  return true;
}

bool ZVStore::trimEventTable() {
  if (getDbSize() <= sharedInstance().maxDbSizeBytesBeforeTrim) return false;
  // A bare column beside Max() comes from the row that holds the maximum: the sessions whose latest event is oldest.
  const auto oldest = executeQuerySyncWithSql(
      "SELECT session_id, Max(client_ts) FROM zv_events GROUP BY session_id ORDER BY client_ts LIMIT 3");
  if (!oldest || oldest->empty()) return false;
  executeQuerySyncWithSql("DELETE FROM zv_events WHERE session_id IN (\"" + joinedSessionIds(*oldest) + "\");");
  ZVLogger::w(0, "Database too large when initializing. Deleting the oldest 3 sessions.");
  vacuum();
  return true;
}

std::int32_t ZVStore::getDbSize() {
  std::error_code failure;
  const auto size = std::filesystem::file_size(sharedInstance().dbPath, failure);
  return failure ? 0 : static_cast<std::int32_t>(size);
}

// Vacuuming alone writes the smaller database into the log and leaves the file at its size, by which events are refused
// and sessions deleted.
void ZVStore::vacuum() {
  executeQuerySyncWithSql("VACUUM");
  executeQuerySyncWithSql("PRAGMA wal_checkpoint(TRUNCATE)");
}

bool ZVStore::isDbTooLargeForEvents() { return getDbSize() > sharedInstance().maxDbSizeBytes; }

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/FolderLock.h"
#include "platform/Platform.h"
#include "runtime/SdkErrorReporter.h"
#include "runtime/ZVLogger.h"
#include "store/Condition.h"
#include "store/Damage.h"
#include "store/Database.h"
#include "store/Reserve.h"
#include "store/Tables.h"
#include "store/ZVStore.h"
#include "values/Text.h"

namespace zorvane {

namespace {

// A small checkpoint interval keeps the file's size, by which events are refused, close to what the database holds. In
// this mode a commit survives a killed process without a sync; only a power cut may take the latest ones.
constexpr auto kSettings = std::to_array<const char*>({
    kPageSize, "PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL", "PRAGMA wal_autocheckpoint = 1000",
    "PRAGMA journal_size_limit = 1048576",  // what one large transaction took is given back
    "PRAGMA cache_size = -256",             // KiB: an event touches six pages, and the system caches the file
});
constexpr int kBusyMilliseconds = 3000;  // another process of the same game may be writing
constexpr std::size_t kTrimmedSessions = 3;
// Of 1 KiB. Vacuuming writes the whole database: for the few pages that single events free, which the next ones take
// again, a disk would be written without end.
constexpr std::int64_t kPagesWorthVacuuming = 64;
constexpr auto kLockLimit = std::chrono::milliseconds(kBusyMilliseconds);

void reportTrouble(std::string reason) {
  reportSdkError({.category = SdkErrorCategory::db,
                  .area = SdkErrorArea::sql,
                  .action = SdkErrorAction::dbOpenOrCreate,
                  .reason = std::move(reason)});
}

bool open(ZVStore& store) {
  const bool inMemory = platform().television;  // there the path is a URI, which only these flags make SQLite read
  sqlite3* handle = nullptr;
  const int result = inMemory ? sqlite3_open_v2(store.database->path.c_str(), &handle,
                                                SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI, nullptr)
                              : sqlite3_open(store.database->path.c_str(), &handle);
  store.database->handle.reset(handle);  // a failed open still yields a handle
  store.dbReady = result == SQLITE_OK;
  if (store.dbReady) {
    ZVLogger::d(0, "Database opened: {}", store.database->path);
    return true;
  }
  ZVLogger::d(0, "Could not open database: {}", store.database->path);
  reportTrouble("openDatabaseResult: " + std::to_string(result));
  return false;
}

void configure(sqlite3* database) {
  sqlite3_busy_timeout(database, kBusyMilliseconds);
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

// Opens again what another process, or this one, may have put in the place of what was open.
Condition reopened(ZVStore& store) {
  store.database->handle.reset();
  if (!open(store)) return {Condition::Kind::unusable, "it can't be opened", {}};
  configure(store.database->handle.get());
  return conditionOfDatabase();
}

// False while another process replaces the database, which must not be opened under its hands. Where folders can't be
// locked nobody replaces one.
bool shareFolder(ZVStore& store) {
  if (store.folderLock->share(kLockLimit) != FolderLock::Outcome::busy) return true;
  ZVLogger::w(0, "Another process is replacing the event database: {}", store.database->path);
  return false;
}

// A database that is damaged is kept aside, for nothing could be stored in it, run after run. Not while another process
// works with it: that one would go on storing in a file that nobody reads.
Condition replaced(ZVStore& store) {
  const bool alone = store.folderLock->takeAlone(kLockLimit) == FolderLock::Outcome::held;
  Condition condition = reopened(store);  // another process may have been quicker
  if (condition.kind == Condition::Kind::damaged && alone) {
    if (!condition.table.empty()) ZVLogger::d(0, "{}", condition.table);
    store.database->handle.reset();
    lendReserve(store.database->path);
    if (const auto rows = replaceDamaged(store.database->path)) {
      store.damage = condition.reason;
      ZVLogger::w(0, "The event database is damaged ({}). It is kept as {}, and {} rows of it could be read.",
                  condition.reason, damagedPath(store.database->path), *rows);
      condition = reopened(store);
    }
  }
  if (!shareFolder(store)) condition.kind = Condition::Kind::unusable;
  return condition;
}

bool isGood(const Condition& condition, const std::string& path) {
  switch (condition.kind) {
    case Condition::Kind::good: return true;
    case Condition::Kind::readOnly: ZVLogger::w(0, "The event database can't be written: {}", path); return false;
    case Condition::Kind::damaged:
      ZVLogger::w(0, "The event database is damaged ({}), and no other can take its place now: {}", condition.reason,
                  path);
      return false;
    case Condition::Kind::unusable: return false;
  }
  return false;
}

}  // namespace

bool ZVStore::ensureDatabase(bool drop) {
  ZVStore& store = sharedInstance();
  store.folderLock = std::make_unique<FolderLock>(std::filesystem::path(store.database->path).parent_path().string());
  if (!shareFolder(store) || !open(store)) return false;
  configure(store.database->handle.get());
  if (drop) dropTables();
  Condition condition = conditionOfDatabase();
  if (condition.kind == Condition::Kind::damaged) condition = replaced(store);
  if (!isGood(condition, store.database->path)) return false;
  forgetEndedSessions();
  // A run that was killed may have left the file larger than what it holds.
  executeQuerySyncWithSql("PRAGMA wal_checkpoint(TRUNCATE)");
  trimEventTable();
  makeReserve(store.database->path);
  store.tableReady = true;
  ZVLogger::d(0, "Database tables ensured present");
  return true;
}

bool ZVStore::trimEventTable() {
  if (getDbSize() <= sharedInstance().maxDbSizeBytesBeforeTrim) return false;
  // A bare column next to Max() comes from the row that holds the maximum: the sessions whose latest event is oldest.
  const auto oldest = executeQuerySyncWithSql(
      "SELECT session_id, Max(client_ts) FROM zv_events GROUP BY session_id ORDER BY client_ts LIMIT 3");
  if (!oldest || oldest->empty()) return false;
  Parameters sessions;
  for (const Row& row : *oldest) sessions.push_back(row.textOf("session_id"));
  sessions.resize(kTrimmedSessions, sessions.front());
  executeQuerySyncWithSql("DELETE FROM zv_events WHERE session_id IN (?, ?, ?);", sessions);
  ZVLogger::w(0, "Database too large when initializing. Deleting the oldest 3 sessions.");
  vacuum();
  return true;
}

std::int64_t ZVStore::getDbSize() {
  std::error_code failure;
  const auto size = std::filesystem::file_size(sharedInstance().database->path, failure);
  return failure ? 0 : static_cast<std::int64_t>(size);
}

// At the opening there are no keys yet, without which nothing can be reported.
void ZVStore::reportDamage() {
  if (const auto reason = std::exchange(sharedInstance().damage, std::nullopt))
    reportTrouble("The event database was damaged: " + *reason);
}

// Vacuuming alone writes the smaller database into the log and leaves the file at its size, by which events are refused
// and sessions deleted.
void ZVStore::vacuum() {
  executeQuerySyncWithSql("VACUUM");
  giveRoomBack();
}

void ZVStore::vacuumIfWorthIt() {
  const auto free = executeQuerySyncWithSql("PRAGMA freelist_count");
  const auto pages = free && !free->empty() ? integerOfText(free->front().textOf("freelist_count")) : 0;
  if (pages >= kPagesWorthVacuuming) vacuum();
  else if (sharedInstance().database->reserveIsLent) giveRoomBack();
}

void ZVStore::giveRoomBack() {
  executeQuerySyncWithSql("PRAGMA wal_checkpoint(TRUNCATE)");
  ZVStore& store = sharedInstance();
  if (!std::exchange(store.database->reserveIsLent, false)) return;
  const auto waiting = executeQuerySyncWithSql("SELECT 1 FROM zv_events LIMIT 1;");
  if (waiting && waiting->empty()) makeReserve(store.database->path);
  else restoreReserve(store.database->path);
}

bool ZVStore::isDbTooLargeForEvents() { return getDbSize() > sharedInstance().maxDbSizeBytes; }

}  // namespace zorvane

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "events/SdkError.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"

namespace {

struct Finalizer {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

void report(SdkErrorAction action, std::string_view reason) {
  ZVEvents::sendSdkErrorEventWithCategory(kCategoryDb, kAreaSql, action, reason, ZVState::getGameKey(),
                                          ZVState::getGameSecret());
}

bool execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// By its first word, in any case.
bool changesData(const std::string& sql) {
  constexpr auto kWords = std::to_array<const char*>({"UPDATE", "INSERT", "DELETE"});
  return std::ranges::any_of(kWords, [&](const char* word) { return sqlite3_strnicmp(sql.c_str(), word, 6) == 0; });
}

bool mayQuery() {
  if (ZVState::sharedInstance().isHandlingUncaughtException || ZVThreading::isZVThread()) return true;
  ZVLogger::d(0, "Trying to execute query on non-ZVThread");
  return false;
}

// Keeps the connection for one query, its transaction included: beside the work queue, a thread that handles a crash
// may come here.
class ConnectionHeld {
 public:
  explicit ConnectionHeld(sqlite3* database) : mutex_(database != nullptr ? sqlite3_db_mutex(database) : nullptr) {
    sqlite3_mutex_enter(mutex_);
  }
  ~ConnectionHeld() { sqlite3_mutex_leave(mutex_); }
  ConnectionHeld(const ConnectionHeld&) = delete;
  ConnectionHeld& operator=(const ConnectionHeld&) = delete;

 private:
  sqlite3_mutex* const mutex_;  // recursive; null where there is no connection
};

bool begin(sqlite3* database) {
  if (execute(database, "BEGIN;")) return true;
  const std::string message = sqlite3_errmsg(database);
  ZVLogger::d(0, "SQLITE3 BEGIN ERROR: {}", message);
  report(kActionSqlBegin, message);
  return false;
}

Statement prepare(sqlite3* database, const std::string& sql) {
  sqlite3_stmt* handle = nullptr;
  const int result = sqlite3_prepare_v2(database, sql.c_str(), -1, &handle, nullptr);
  Statement statement(handle);
  if (result == SQLITE_OK) return statement;
  const std::string message = sqlite3_errmsg(database);
  ZVLogger::d(0, "SQLITE3 PREPARE ERROR: {}", message);
  report(kActionSqlPrepare, message);
  return nullptr;
}

void bind(sqlite3_stmt* statement, const ZVStore::Parameters& parameters) {
  int index = 0;
  for (const std::string& text : parameters)
    sqlite3_bind_text64(statement, ++index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

ZVStore::Row readRow(sqlite3_stmt* statement, int columns) {
  ZVStore::Row row;
  for (int column = 0; column < columns; ++column) {
    const char* name = sqlite3_column_name(statement, column);
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (name == nullptr || text == nullptr) continue;
    row.set(name, std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))));
  }
  return row;
}

ZVStore::Rows readRows(sqlite3_stmt* statement) {
  ZVStore::Rows rows;
  const int columns = sqlite3_column_count(statement);
  while (sqlite3_step(statement) == SQLITE_ROW) rows.push_back(readRow(statement, columns));
  return rows;
}

// Some errors, a full disk among them, have already rolled back by themselves.
bool isTransactionOpen(sqlite3* database) { return sqlite3_get_autocommit(database) == 0; }

void rollBack(sqlite3* database) {
  if (!isTransactionOpen(database) || execute(database, "ROLLBACK")) return;
  const std::string message = sqlite3_errmsg(database);
  ZVLogger::d(0, "SQLITE3 ROLLBACK ERROR: {}", message);
  report(kActionSqlRollback, message);
}

bool finalize(sqlite3* database, Statement statement) {
  if (sqlite3_finalize(statement.release()) == SQLITE_OK) return true;
  ZVLogger::d(0, "SQLITE3 FINALIZE ERROR: {}", sqlite3_errmsg(database));
  return false;
}

bool commit(sqlite3* database) {
  if (execute(database, "COMMIT")) return true;
  const std::string message = sqlite3_errmsg(database);
  ZVLogger::d(0, "SQLITE3 COMMIT ERROR: {}", message);
  report(kActionSqlCommit, message);
  rollBack(database);  // a transaction left open would refuse every later one
  return false;
}

}  // namespace

std::optional<ZVStore::Rows> ZVStore::executeQuerySyncWithSql(const std::string& sql, const Parameters& parameters,
                                                              bool useTransaction) {
  if (!mayQuery()) return std::nullopt;
  sqlite3* database = getDatabase();
  const ConnectionHeld held(database);
  // A transaction that is open here is one that a crash on this very thread has interrupted.
  if (database != nullptr && ZVState::sharedInstance().isHandlingUncaughtException) rollBack(database);
  const bool inTransaction = useTransaction || changesData(sql);
  if (inTransaction && !begin(database)) return std::nullopt;

  std::optional<Rows> rows;
  Statement statement = prepare(database, sql);
  if (statement) {
    bind(statement.get(), parameters);
    rows = readRows(statement.get());
  }
  if (!finalize(database, std::move(statement))) {
    if (inTransaction) rollBack(database);
    return std::nullopt;
  }
  if (inTransaction && !commit(database)) return std::nullopt;
  return rows;
}

void ZVStore::executeQueryWithSql(std::string sql, Callback callback) {
  executeQueryWithSql(std::move(sql), {}, std::move(callback));
}

void ZVStore::executeQueryWithSql(std::string sql, Parameters parameters, Callback callback) {
  const ZVStore& store = sharedInstance();
  if (!store.dbReady || !store.tableReady) {
    if (callback) callback(std::nullopt, "Database and/or table not ready");
    return;
  }
  ZVThreading::performTaskOnZVThreadWithBlock(
      [sql = std::move(sql), parameters = std::move(parameters), callback = std::move(callback)] {
        auto rows = executeQuerySyncWithSql(sql, parameters);
        if (!callback) return;
        if (rows) callback(std::move(rows), std::nullopt);
        else callback(std::nullopt, sqlite3_errmsg(getDatabase()));
      });
}

#include "store/Connection.h"

#include <sqlite3.h>

#include <memory>
#include <utility>

#include "runtime/CrashHandling.h"
#include "runtime/SdkErrorReporter.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "store/Database.h"
#include "store/Reserve.h"

namespace zorvane {

namespace {

struct Finalizer {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

bool execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool isQueryAllowed() {
  if (CrashHandling::isUnderWay() || ZVThreading::isZVThread()) return true;
  ZVLogger::d(0, "Trying to execute query on non-ZVThread");
  return false;
}

// Recursive; null where there is no connection.
sqlite3_mutex* mutexOf(sqlite3* database) { return database != nullptr ? sqlite3_db_mutex(database) : nullptr; }

void bind(sqlite3_stmt* statement, const Parameters& parameters) {
  int index = 0;
  for (const std::string& text : parameters)
    sqlite3_bind_text64(statement, ++index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

Row readRow(sqlite3_stmt* statement, int columns) {
  Row row;
  for (int column = 0; column < columns; ++column) {
    const char* name = sqlite3_column_name(statement, column);
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (name == nullptr || text == nullptr) continue;
    row.set(name, std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))));
  }
  return row;
}

// The connection itself lists what is prepared. One that is in the middle of its run was interrupted by a crash on this
// very thread, and is left alone.
sqlite3_stmt* keptStatement(sqlite3* database, std::string_view sql) {
  if (database == nullptr) return nullptr;
  for (sqlite3_stmt* kept = nullptr; (kept = sqlite3_next_stmt(database, kept)) != nullptr;)
    if (sql == sqlite3_sql(kept) && sqlite3_stmt_busy(kept) == 0) return kept;
  sqlite3_stmt* fresh = nullptr;
  sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &fresh, nullptr);
  return fresh;
}

// False: SQLite's code and text say why. What is bound is never read after it.
bool runToItsEnd(sqlite3_stmt* statement) {
  while (sqlite3_step(statement) == SQLITE_ROW) {
  }
  return sqlite3_reset(statement) == SQLITE_OK;
}

bool executeOften(sqlite3* database, const char* sql) {
  sqlite3_stmt* const statement = keptStatement(database, sql);
  return statement != nullptr && runToItsEnd(statement);
}

// Some errors, a full disk among them, have already rolled back by themselves.
bool isTransactionOpen(sqlite3* database) { return sqlite3_get_autocommit(database) == 0; }

}  // namespace

Connection::Connection(Database& database)
    : mayQuery_(isQueryAllowed()), file_(database), database_(mayQuery_ ? database.handle.get() : nullptr) {
  sqlite3_mutex_enter(mutexOf(database_));
  // A transaction that is open here is one that a crash on this very thread has interrupted.
  if (database_ != nullptr && CrashHandling::isUnderWay()) rollBack();
}

Connection::~Connection() { sqlite3_mutex_leave(mutexOf(database_)); }

bool Connection::read(const std::string& sql, const Parameters& parameters, const std::function<bool(Row)>& take) {
  sqlite3_stmt* handle = nullptr;
  const int prepared = sqlite3_prepare_v2(database_, sql.c_str(), -1, &handle, nullptr);
  Statement statement(handle);
  if (prepared != SQLITE_OK) return fail("PREPARE", SdkErrorAction::sqlPrepare);
  bind(statement.get(), parameters);
  const int columns = sqlite3_column_count(handle);
  while (sqlite3_step(handle) == SQLITE_ROW && take(readRow(handle, columns))) {
  }
  return sqlite3_finalize(statement.release()) == SQLITE_OK || fail("FINALIZE", std::nullopt);
}

std::optional<Rows> Connection::run(const std::string& sql, const Parameters& parameters) {
  Rows rows;
  const bool done = read(sql, parameters, [&](Row row) {
    rows.push_back(std::move(row));
    return true;
  });
  return done ? std::optional(std::move(rows)) : std::nullopt;
}

bool Connection::runOften(const char* sql, const Parameters& parameters) {
  sqlite3_stmt* const statement = keptStatement(database_, sql);
  if (statement == nullptr) return fail("PREPARE", SdkErrorAction::sqlPrepare);
  bind(statement, parameters);
  return runToItsEnd(statement) || fail("FINALIZE", std::nullopt);
}

bool Connection::begin(Begin how) {
  return executeOften(database_, how == Begin::immediate ? "BEGIN IMMEDIATE;" : "BEGIN;") ||
         fail("BEGIN", SdkErrorAction::sqlBegin);
}

bool Connection::commit() {
  if (executeOften(database_, "COMMIT")) return true;
  fail("COMMIT", SdkErrorAction::sqlCommit);
  const int cause = failure_;
  rollBack();  // a transaction left open would refuse every later one
  failure_ = cause;
  return false;
}

void Connection::rollBack() {
  if (isTransactionOpen(database_) && !execute(database_, "ROLLBACK")) fail("ROLLBACK", SdkErrorAction::sqlRollback);
}

bool Connection::failedOfLock() const { return (failure_ & 0xFF) == SQLITE_BUSY; }
bool Connection::failedOfFullDisk() const { return (failure_ & 0xFF) == SQLITE_FULL; }

bool Connection::foldLogBack(Reserve reserve) {
  if (!std::exchange(file_.fullDiskIsKnown, true))
    ZVLogger::w(0, "The disk is full. Events may be lost until what waits has been sent or there is room again.");
  const auto fold = [&] {
    return sqlite3_wal_checkpoint_v2(database_, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr) == SQLITE_OK;
  };
  if (reserve == Reserve::kept) return fold();
  file_.reserveIsLent = true;
  bool folded = false;
  while (lendReserve(file_.path) && !(folded = fold())) {
  }
  return folded || fold();
}

bool Connection::fail(std::string_view step, std::optional<SdkErrorAction> action) {
  failure_ = sqlite3_errcode(database_);
  failureText_ = sqlite3_errmsg(database_);
  ZVLogger::d(0, "SQLITE3 {} ERROR: {}", step, failureText_);
  if (action)
    reportSdkError(
        {.category = SdkErrorCategory::db, .area = SdkErrorArea::sql, .action = *action, .reason = failureText_});
  return false;
}

}  // namespace zorvane

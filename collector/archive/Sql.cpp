#include "collector/archive/Sql.h"

#include <fmt/format.h>
#include <sqlite3.h>

namespace collector {

namespace {

constexpr int kBusyMilliseconds = 5'000;

constexpr std::size_t kShownSql = 60;  // bytes: people read it who look for what is wrong with their disk

std::string_view shown(std::string_view sql) { return sql.substr(0, sql.find('(')).substr(0, kShownSql); }

[[noreturn]] void fail(sqlite3* database, std::string_view what) {
  throw SqlFailure(fmt::format("{}: {}", what, database != nullptr ? sqlite3_errmsg(database) : "out of memory"));
}

}  // namespace

void CloseDatabase::operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }

Database openDatabase(const std::string& path, OpenFor purpose) {
  const int flags = purpose == OpenFor::reading ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  Database database(handle);  // a failed opening leaves a handle, too
  if (result != SQLITE_OK) fail(handle, path + " can't be opened");
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
  return database;
}

void execute(sqlite3* database, const std::string& sql) {
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(database, shown(sql));
}

void Statement::Finalize::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* raw = nullptr;
  const int result =
      sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
  statement_.reset(raw);
  if (result != SQLITE_OK) fail(database, shown(sql));
}

void Statement::check(int result) const {
  if (result != SQLITE_OK) fail(sqlite3_db_handle(statement_.get()), shown(sqlite3_sql(statement_.get())));
}

void Statement::bind(int parameter, std::int64_t value) {
  check(sqlite3_bind_int64(statement_.get(), parameter, value));
}

void Statement::bind(int parameter, double value) { check(sqlite3_bind_double(statement_.get(), parameter, value)); }

void Statement::bind(int parameter, std::string_view value) {
  const char* const bytes = value.data() == nullptr ? "" : value.data();
  check(sqlite3_bind_text64(statement_.get(), parameter, bytes, value.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind(int parameter, Bytes value) {
  check(sqlite3_bind_blob64(statement_.get(), parameter, value.data(), value.size(), SQLITE_STATIC));
}

void Statement::bindNothing(int parameter) { check(sqlite3_bind_null(statement_.get(), parameter)); }

bool Statement::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) {
    const std::string problem = sqlite3_errmsg(sqlite3_db_handle(statement_.get()));
    sqlite3_reset(statement_.get());
    throw SqlFailure(fmt::format("{}: {}", shown(sqlite3_sql(statement_.get())), problem));
  }
  return false;
}

void Statement::reset() { sqlite3_reset(statement_.get()); }

std::int64_t Statement::run() {
  while (step()) continue;
  reset();
  return sqlite3_changes64(sqlite3_db_handle(statement_.get()));
}

int Statement::columns() const { return sqlite3_column_count(statement_.get()); }

bool Statement::isNothing(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

double Statement::number(int column) const { return sqlite3_column_double(statement_.get(), column); }

std::string_view Statement::text(int column) const {
  const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  return bytes == nullptr ? std::string_view() : std::string_view(bytes, size);
}

Bytes Statement::bytes(int column) const {
  const auto* const bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.get(), column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

Transaction::Transaction(sqlite3* database) : database_(database) { execute(database, "BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  if (open_) sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  execute(database_, "COMMIT");
  open_ = false;
}

}  // namespace collector

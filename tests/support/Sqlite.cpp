#include "support/Sqlite.h"

#include <sqlite3.h>

#include <stdexcept>

namespace {

struct Closer {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, Closer>;

sqlite3* openHandle(const std::string& file) {
  sqlite3* handle = nullptr;
  if (sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    sqlite3_close_v2(handle);
    throw std::runtime_error("can't open " + file);
  }
  sqlite3_busy_timeout(handle, 5000);
  return handle;
}

void run(sqlite3* database, const std::string& sql) {
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
    throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
}

}  // namespace

std::size_t countRows(const std::string& file, const std::string& sql) {
  const Database database(openHandle(file));
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
    return 0;  // a database that was killed before its tables were made holds none
  const std::size_t count =
      sqlite3_step(statement) == SQLITE_ROW ? static_cast<std::size_t>(sqlite3_column_int64(statement, 0)) : 0;
  sqlite3_finalize(statement);
  return count;
}

void execute(const std::string& file, const std::string& sql) {
  const Database database(openHandle(file));
  run(database.get(), sql);
}

HeldLock::HeldLock(const std::string& file) : database_(openHandle(file)) { run(database_, "BEGIN EXCLUSIVE"); }

HeldLock::~HeldLock() { sqlite3_close_v2(database_); }

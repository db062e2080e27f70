#include "support/Sqlite.h"

#include <sqlite3.h>

#include <stdexcept>

namespace {

using Database = std::shared_ptr<sqlite3>;

Database open(const std::string& file) {
  sqlite3* handle = nullptr;
  const int status = sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  const Database database(handle, sqlite3_close_v2);
  if (status != SQLITE_OK) throw std::runtime_error("can't open " + file);
  sqlite3_busy_timeout(handle, 5000);
  return database;
}

Database run(const std::string& file, const std::string& sql) {
  const Database database = open(file);
  if (sqlite3_exec(database.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
    throw std::runtime_error(sql + ": " + sqlite3_errmsg(database.get()));
  return database;
}

}  // namespace

std::size_t countRows(const std::string& file, const std::string& sql) {
  const Database database = open(file);
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
    return 0;  // a database that was killed before its tables were made holds none
  const std::int64_t count = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
  sqlite3_finalize(statement);
  return static_cast<std::size_t>(count);
}

std::vector<std::string> textsOf(const std::string& file, const std::string& sql) {
  const Database database = open(file);
  std::vector<std::string> texts;
  const auto take = [](void* into, int, char** values, char**) {
    static_cast<std::vector<std::string>*>(into)->emplace_back(values[0] != nullptr ? values[0] : "");
    return 0;
  };
  if (sqlite3_exec(database.get(), sql.c_str(), take, &texts, nullptr) != SQLITE_OK)
    throw std::runtime_error(sql + ": " + sqlite3_errmsg(database.get()));
  return texts;
}

void execute(const std::string& file, const std::string& sql) { run(file, sql); }

std::shared_ptr<void> lockDatabase(const std::string& file) { return run(file, "BEGIN EXCLUSIVE"); }

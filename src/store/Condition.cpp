#include "store/Condition.h"

#include <sqlite3.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "store/Connection.h"
#include "store/Repeat.h"
#include "store/Tables.h"
#include "store/ZVStore.h"

namespace zorvane {

namespace {

using Kind = Condition::Kind;

// Ten times what the limits of the library let the file become; a check takes some milliseconds a megabyte.
constexpr std::int64_t kLargestChecked = std::int64_t{64} << 20;

Kind kindOf(int code) {
  switch (code & 0xFF) {
    case SQLITE_OK: return Kind::good;
    case SQLITE_READONLY: return Kind::readOnly;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_IOERR:
    case SQLITE_NOMEM:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_PROTOCOL:
    case SQLITE_INTERRUPT: return Kind::unusable;
    default: return Kind::damaged;
  }
}

Condition lastFailure(std::string_view table = {}) {
  sqlite3* const database = ZVStore::getDatabase();
  Condition failure{kindOf(sqlite3_errcode(database)), sqlite3_errmsg(database), table};
  // A file that may only be read can't have a log next to it, which SQLite calls unable to open.
  if (failure.kind == Kind::unusable && sqlite3_db_readonly(database, "main") == 1) failure.kind = Kind::readOnly;
  return failure;
}

// The first thing that SQLite finds wrong with the file. What keeps it from looking is no damage.
Condition checkFile() {
  if (ZVStore::getDbSize() > kLargestChecked) return {};
  Condition found;
  const auto keepFirst = [](void* condition, int, char** texts, char**) {
    const std::string_view text = texts[0] != nullptr ? texts[0] : "";
    if (text == "ok") return 0;
    std::string line(text);
    std::ranges::replace(line, '\n', ' ');
    *static_cast<Condition*>(condition) = {Kind::damaged, std::move(line), {}};
    return 0;
  };
  const int code =
      sqlite3_exec(ZVStore::getDatabase(), "PRAGMA integrity_check(1)", keepFirst, static_cast<void*>(&found), nullptr);
  if (kindOf(code) == Kind::damaged) return lastFailure();
  return found;
}

template <class Work>
Condition tried(Work work) {
  return repeated(work, [](const Condition& condition) { return condition.kind == Kind::unusable; });
}

Condition make(const Table& table) {
  if (ZVStore::executeQuerySyncWithSql(table.create)) return {};
  Condition failure = lastFailure();
  // Something else bears the table's name: nothing that a new file would be needed for.
  if (sqlite3_errcode(ZVStore::getDatabase()) == SQLITE_ERROR) failure.kind = Kind::unusable;
  return failure;
}

Condition read(const Table& table) {
  return ZVStore::executeQuerySyncWithSql(table.probe) ? Condition() : lastFailure(table.corrupt);
}

bool insertProbe(Connection& connection, const Table& table) {
  const auto columns = static_cast<std::size_t>(std::ranges::count(table.marks, '?'));
  return connection
      .run(fmt::format("INSERT OR REPLACE INTO {} ({}) VALUES({});", table.name, table.columns, table.marks),
           ZVStore::Parameters(columns, "probe"))
      .has_value();
}

// A row in each table that is written and taken back. What may pass is no reason to do without the database.
Condition write() {
  Connection connection(*ZVStore::sharedInstance().database);
  Condition result;
  connection.inTransaction([&] {
    for (const Table& table : kTables) {
      if (insertProbe(connection, table)) continue;
      result = lastFailure(table.corrupt);
      break;
    }
    return false;
  });
  return result.kind == Kind::unusable ? Condition() : result;
}

Condition makeAndRead(const Table& table) {
  if (Condition made = tried([&] { return make(table); }); made.kind != Kind::good) return made;
  return tried([&] { return read(table); });
}

}  // namespace

Condition conditionOfDatabase() {
  if (Condition file = checkFile(); file.kind != Kind::good) return file;
  for (const Table& table : kTables)
    if (Condition condition = makeAndRead(table); condition.kind != Kind::good) return condition;
  return write();
}

}  // namespace zorvane

// The new database is made complete next to the damaged one and then renamed over it, so there is always a database.
#include "store/Damage.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "codecs/json.h"
#include "store/Tables.h"

namespace zorvane {

namespace {

struct Closer {
  void operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using RawDatabase = std::unique_ptr<sqlite3, Closer>;
using RawStatement = std::unique_ptr<sqlite3_stmt, Closer>;

// Behind a damaged page reading goes on at a higher row number, in steps that grow to this; after so many steps
// without a row there are no more.
constexpr std::int64_t kLongestStep = 64;
constexpr int kMostSteps = 4096;
// Pages of a damaged tree may lead to each other. A table that isn't read within so many of SQLite's operations, far
// more than the rows of a database of ours take, is read so far and no further.
constexpr int kOperationsAPiece = 10'000;
constexpr int kMostPieces = 5'000;

RawDatabase open(const std::string& path, int flags) {
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
  RawDatabase database(handle);  // a failed open still yields a handle
  return result == SQLITE_OK ? std::move(database) : nullptr;
}

RawStatement prepare(const RawDatabase& database, const std::string& sql) {
  sqlite3_stmt* handle = nullptr;
  sqlite3_prepare_v2(database.get(), sql.c_str(), -1, &handle, nullptr);
  return RawStatement(handle);
}

bool execute(const RawDatabase& database, const char* sql) {
  return sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::string_view textAt(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return {text != nullptr ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, column))};
}

// Copies the rows of one table.
class Copy {
 public:
  Copy(const RawDatabase& from, const RawDatabase& to, const Table& table)
      : table_(table),
        columns_(static_cast<int>(std::ranges::count(table.marks, '?'))),
        source_(prepare(from, fmt::format("SELECT rowid, {} FROM {} NOT INDEXED WHERE rowid >= ? ORDER BY rowid",
                                          table.columns, table.name))),
        target_(prepare(to, fmt::format("INSERT OR IGNORE INTO {} (rowid, {}) VALUES(?, {})", table.name, table.columns,
                                        table.marks))) {}

  // False when something failed that is no damage: another try may do better.
  bool run() {
    if (!source_) return true;  // the table itself can't be read
    if (!target_) return false;
    std::int64_t step = 1;
    for (int steps = 0; steps < kMostSteps; ++steps) {
      const std::int64_t before = next_;
      const int result = copyUntilTrouble();
      if (result == SQLITE_DONE || result == SQLITE_INTERRUPT) return true;
      if (result != SQLITE_CORRUPT && result != SQLITE_NOTADB) return false;
      if (next_ != before) steps = 0;
      step = next_ != before ? 1 : std::min(2 * step, kLongestStep);
      if (next_ > std::numeric_limits<std::int64_t>::max() - step) return true;
      next_ += step;
    }
    return true;
  }

  [[nodiscard]] std::size_t copied() const { return copied_; }

 private:
  int copyUntilTrouble() {
    sqlite3_bind_int64(source_.get(), 1, next_);
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(source_.get())) == SQLITE_ROW) {
      const std::int64_t row = sqlite3_column_int64(source_.get(), 0);
      if (row < next_) continue;  // of a tree out of order: going back could go on for ever
      next_ = row;
      if (isWhole() && !insert()) {
        result = SQLITE_ERROR;
        break;
      }
      if (next_ == std::numeric_limits<std::int64_t>::max()) return SQLITE_DONE;
      ++next_;
    }
    sqlite3_reset(source_.get());
    return result & 0xFF;
  }

  // All of a row is text, and its record is one: what else there is came from the damage.
  bool isWhole() {
    for (int column = 1; column <= columns_; ++column)
      if (sqlite3_column_type(source_.get(), column) != SQLITE_TEXT) return false;
    return !table_.json || readJson(textAt(source_.get(), *table_.json + 1)).has_value();
  }

  bool insert() {
    sqlite3_bind_int64(target_.get(), 1, next_);
    for (int column = 1; column <= columns_; ++column) {
      const std::string_view text = textAt(source_.get(), column);
      sqlite3_bind_text64(target_.get(), column + 1, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    const bool inserted = sqlite3_step(target_.get()) == SQLITE_DONE;
    copied_ += inserted ? 1 : 0;
    return sqlite3_reset(target_.get()) == SQLITE_OK;
  }

  const Table& table_;
  const int columns_;
  const RawStatement source_;
  const RawStatement target_;
  std::int64_t next_ = 1;
  std::size_t copied_ = 0;
};

std::optional<std::size_t> makeFresh(const std::string& damaged, const std::string& fresh) {
  const RawDatabase from = open(damaged, SQLITE_OPEN_READWRITE);
  const RawDatabase to = open(fresh, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (!to || !execute(to, kPageSize) || !execute(to, "BEGIN")) return std::nullopt;
  int pieces = 0;
  if (from)
    sqlite3_progress_handler(
        from.get(), kOperationsAPiece, [](void* count) { return ++*static_cast<int*>(count) > kMostPieces ? 1 : 0; },
        &pieces);
  std::size_t copied = 0;
  for (const Table& table : kTables) {
    if (!execute(to, table.create)) return std::nullopt;
    if (!from) continue;
    Copy copy(from, to, table);
    if (!copy.run()) return std::nullopt;
    copied += copy.copied();
  }
  return execute(to, "COMMIT") ? std::optional(copied) : std::nullopt;
}

void removeWithLog(const std::string& path) {
  std::error_code ignored;
  for (const char* part : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(path + part, ignored);
}

// What the log still holds belongs to the damaged file, and must not be taken for the new one's.
bool keepAside(const std::string& database, const std::string& aside) {
  std::error_code failure;
  removeWithLog(aside);
  std::filesystem::create_hard_link(database, aside, failure);
  if (failure) std::filesystem::copy_file(database, aside, failure);  // a file system without links
  if (failure) return false;
  std::filesystem::rename(database + "-wal", aside + "-wal", failure);
  if (failure && failure != std::errc::no_such_file_or_directory) return false;
  std::filesystem::remove(database + "-shm", failure);
  return true;
}

}  // namespace

std::string damagedPath(const std::string& database) { return database + ".damaged"; }

std::optional<std::size_t> replaceDamaged(const std::string& database) {
  const std::string fresh = database + ".new";
  removeWithLog(fresh);
  const auto copied = makeFresh(database, fresh);
  std::error_code failure;
  if (copied && keepAside(database, damagedPath(database))) {
    std::filesystem::rename(fresh, database, failure);
    if (!failure) return copied;
    std::filesystem::rename(damagedPath(database) + "-wal", database + "-wal", failure);
  }
  removeWithLog(fresh);
  return std::nullopt;
}

}  // namespace zorvane

// Connection is the database as one operation of the store has it: held until the operation is over, its failures
// logged and reported. For the files of this folder.
//
// Thread:   the work queue; while a crash is handled, also the thread that handles it.
// Lifetime: that of one operation.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "store/Row.h"
#include "values/SdkError.h"

struct sqlite3;

namespace zorvane {

struct Database;

class Connection {
 public:
  explicit Connection(Database& database);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // False where queries may not run: off the work queue. The line that says so has been written.
  [[nodiscard]] bool mayQuery() const { return mayQuery_; }

  // Hands out row after row until `take` wants no more. False: the statement failed.
  bool read(const std::string& sql, const Parameters& parameters, const std::function<bool(Row)>& take);
  // Rows, possibly none; absent when the statement failed.
  std::optional<Rows> run(const std::string& sql, const Parameters& parameters = {});
  // For what runs with every event and returns no rows: it is prepared once, and stays with the connection.
  bool runOften(const char* sql, const Parameters& parameters = {});

  // Runs `work` between BEGIN and COMMIT. When it returns false, nothing of it stays. Work that reads before it writes
  // has to have the write lock at once: what it read would be old where another process writes in between.
  enum class Begin : bool { deferred, immediate };
  template <class Work>
  bool inTransaction(Work work, Begin how = Begin::deferred) {
    if (!begin(how)) return false;
    if (work()) return commit();
    rollBack();
    return false;
  }

  // Runs `work`. If that fails because the disk is full, it runs again once the write-ahead log has been folded back
  // into the database, which frees what the log took; to send, the reserve may be lent for that.
  enum class Reserve : bool { kept, lent };
  template <class Work>
  bool makingRoom(Reserve reserve, Work work) {
    return work() || (failedOfFullDisk() && foldLogBack(reserve) && work());
  }

  // What failed last, in SQLite's words.
  [[nodiscard]] const std::string& failure() const { return failureText_; }
  // What failed last, failed because another process had the database for too long, or of a full disk.
  [[nodiscard]] bool failedOfLock() const;
  [[nodiscard]] bool failedOfFullDisk() const;

 private:
  bool begin(Begin how);
  bool commit();
  void rollBack();
  bool foldLogBack(Reserve reserve);
  // With `action` the collector hears of it, too.
  bool fail(std::string_view step, std::optional<SdkErrorAction> action);

  const bool mayQuery_;
  Database& file_;
  sqlite3* const database_;  // null where queries may not run
  int failure_ = 0;          // SQLite's code of what failed last
  std::string failureText_;
};

}  // namespace zorvane

// ZVStore owns the one SQLite database: events that wait to be sent, snapshots of open sessions, persisted state and
// progression tries.
//
// Thread:   the work queue, which the query operations check; while a crash is handled, the crashing thread.
// Lifetime: opened by the first task of the process, kept open until it ends.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

#include "values/Counter.h"

struct sqlite3;

namespace zorvane {

class FolderLock;

class ZVStore {
 public:
  // A row: column names to text. A column that is NULL is absent from it.
  class Row {
   public:
    void set(std::string column, std::string text) { columns_.emplace_back(std::move(column), std::move(text)); }
    [[nodiscard]] const std::string* find(std::string_view column) const;
    [[nodiscard]] std::string textOf(std::string_view column) const;  // "" when it is absent
    [[nodiscard]] std::size_t size() const { return columns_.size(); }

   private:
    std::vector<std::pair<std::string, std::string>> columns_;
  };
  using Rows = std::vector<Row>;
  using Parameters = std::vector<std::string>;  // every value is bound as text
  // Rows or an error message.
  using Callback = std::function<void(std::optional<Rows> rows, std::optional<std::string> error)>;

  ZVStore();
  ~ZVStore();
  ZVStore(const ZVStore&) = delete;
  ZVStore& operator=(const ZVStore&) = delete;

  static ZVStore& sharedInstance();
  static std::unique_ptr<ZVStore> setSharedInstance(std::unique_ptr<ZVStore> instance);

  // Opening and size: opening.cpp.
  static sqlite3* getDatabase();
  static bool ensureDatabase(bool dropTables);  // opens, makes and probes the tables, trims
  static bool trimEventTable();                 // true when old sessions were deleted
  static std::int64_t getDbSize();              // bytes of the file; 0 when it can't be read
  static bool isDbTooLargeForEvents();
  static void reportDamage();  // of a database that had to be replaced, once there are keys
  static void giveRoomBack();  // folds the log back, and restores the reserve if it was lent
  static void vacuum();        // gives the file system back what deleted rows took

  // Queries: queries.cpp. Rows, possibly none, on success; absent on any failure, which has been logged.
  static std::optional<Rows> executeQuerySyncWithSql(const std::string& sql, const Parameters& parameters = {},
                                                     bool useTransaction = false);
  static void executeQueryWithSql(std::string sql, Callback callback);
  static void executeQueryWithSql(std::string sql, Parameters parameters, Callback callback);

  // Events and the snapshots of their sessions: recording.cpp.
  struct Event {
    std::string category, sessionId, clientTs, json;
  };
  // From which the end of a session is made that never got one.
  struct Snapshot {
    std::string sessionId, sessionStart, json;
  };
  // What an event means for its session.
  struct SessionChange {
    std::optional<Snapshot> snapshot;  // takes the place of the former one
    bool ended = false;                // the snapshot goes
  };
  // In one transaction, so a kill leaves all of it or nothing. A snapshot that can't be stored doesn't cost the event.
  static bool recordEvent(const Event& event, const SessionChange& change, const std::optional<Counter>& counter = {});
  static void keepSnapshot(const Snapshot& snapshot);
  static void forgetEndedSessions();  // the snapshots of those whose end waits
  struct OpenSession {
    std::string sessionId;
    std::string start;     // seconds as text
    std::string lastSeen;  // the same; "" where the record's own time counts
    std::string json;      // the record that its end is made of
  };
  static std::vector<OpenSession> sessionsWithoutEnd(const std::string& current);

  // What one request takes: batches.cpp.
  static constexpr std::size_t kMaxBatchRows = 500;                      // and the rest of the last one's second
  static constexpr std::int64_t kMaxBatchBytes = std::int64_t{4} << 20;  // of JSON, unless one record is larger
  // Marks the oldest waiting events, of one category or all, and returns their column "event". None: nothing waits,
  // or it can't be read. Absent: the rows could not be marked.
  static std::optional<Rows> takeBatch(const std::string& requestId, ZVText category);
  static void giveBatchBack(const std::string& requestId);
  static void removeBatch(const std::string& requestId);
  static void giveAllBatchesBack();

  // Persisted state: persisted_state.cpp. An absent value deletes the key.
  static bool setDbStateWithKey(const std::string& key, ZVText value);
  static void setUserDefaultsStateWithKey(const std::string& key, ZVText value);
  static void persistStateDimension01WithValue(ZVText value);
  static void persistStateDimension02WithValue(ZVText value);
  static void persistStateDimension03WithValue(ZVText value);
  static void persistStateSessionNumWithValue(ZVText value);
  static void persistStateTransactionNumWithValue(ZVText value);
  static void persistStateCachedConfigWithValue(ZVText value);
  static void persistStateRandomUserId(ZVText value);
  static void persistProgressionTries(ZVText tries, ZVText progressionId);
  static void clearStoredProgressionTriesForProgressionId(ZVText progressionId);

  struct Closer {
    void operator()(sqlite3* handle) const noexcept;
  };
  std::unique_ptr<FolderLock> folderLock;  // shared while the database is open
  std::unique_ptr<sqlite3, Closer> database;
  bool dbReady = false;
  bool tableReady = false;
  bool fullDiskIsKnown = false;       // and has been warned of
  bool lossIsKnown = false;           // the same of an event that could not be stored
  bool reserveIsLent = false;         // in part or whole, until the run of the queue is over
  std::optional<std::string> damage;  // what was wrong with a database that was replaced, until it is reported
  std::string dbPath;
  std::int64_t maxDbSizeBytesBeforeTrim;
  std::int64_t maxDbSizeBytes;
};

}  // namespace zorvane

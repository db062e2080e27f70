// ZVStore owns the one SQLite database: events that wait to be sent, snapshots of open sessions, persisted state and
// progression tries.
//
// Thread:   the work queue, which the query operations check; while a crash is handled, the crashing thread.
// Lifetime: opened by the first task of the process, kept open until it ends.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zorvane/ZVTypes.h>

#include "store/Row.h"
#include "values/Counter.h"

struct sqlite3;

namespace zorvane {

struct Database;
class FolderLock;

class ZVStore {
 public:
  using Row = zorvane::Row;
  using Rows = zorvane::Rows;
  using Parameters = zorvane::Parameters;
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
  static void reportDamage();     // of a database that had to be replaced, once there are keys
  static void giveRoomBack();     // folds the log back, and restores the reserve if it was lent
  static void vacuum();           // gives the file system back what deleted rows took
  static void vacuumIfWorthIt();  // the same, once it is more than a few pages

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
  // Whether an event waits whose record has `text` in it. Absent: the database didn't say.
  static std::optional<bool> holdsEventWith(const std::string& text);
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
  struct Batch {
    std::vector<std::string> records;    // JSON
    std::vector<std::string> rows;       // their numbers
    std::string dataVersion;             // while it is the same, the numbers are
    std::shared_ptr<const void> sender;  // no other process sends while this lives
  };
  // The oldest waiting events, of one category or all. None: nothing waits, or it can't be read. Absent: now is no time
  // to send. A batch that goes without being removed waits as it did.
  static std::optional<Batch> takeBatch(ZVText category);
  static void removeBatch(Batch batch);
  static void giveAllBatchesBack();  // that an older version marked
  // What is known of the waiting events, so that a run needn't look at all of them.
  struct Stock {
    std::string dataVersion;  // changes when another process changes the database
    std::string latest;       // timestamp
    bool inOrder = false;     // of their timestamps, and none marked
  };
  static void takeStock();
  static bool isStockKnown();

  // Persisted state: persisted_state.cpp. An absent value deletes the key.
  static bool setDbStateWithKey(const std::string& key, ZVText value);
  using KeyValues = std::map<std::string, std::string, std::less<>>;
  static std::optional<KeyValues> readDbState();           // absent: it can't be read
  static std::optional<KeyValues> readProgressionTries();  // by progression, in decimal
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

  std::unique_ptr<FolderLock> folderLock;  // shared while the database is open
  const std::unique_ptr<Database> database;
  bool dbReady = false;
  bool tableReady = false;
  bool lossIsKnown = false;  // of an event that could not be stored, and has been warned of
  Stock stock;
  std::optional<Batch> sentBefore;    // which couldn't be removed
  std::optional<std::string> damage;  // what was wrong with a database that was replaced, until it is reported
  std::int64_t maxDbSizeBytesBeforeTrim;
  std::int64_t maxDbSizeBytes;
};

}  // namespace zorvane

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

struct sqlite3;

class ZVStore {
 public:
  // A row: column names to text. A column that is NULL is absent from it.
  class Row {
   public:
    void set(std::string column, std::string text) { columns_.emplace_back(std::move(column), std::move(text)); }
    [[nodiscard]] const std::string* find(std::string_view column) const;
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
  static std::int32_t getDbSize();              // bytes of the file; 0 when it can't be read
  static bool isDbTooLargeForEvents();
  static void vacuum();  // gives the file system back what deleted rows took

  // Queries: queries.cpp. Rows, possibly none, on success; absent on any failure, which has been logged.
  static std::optional<Rows> executeQuerySyncWithSql(const std::string& sql, const Parameters& parameters = {},
                                                     bool useTransaction = false);
  static void executeQueryWithSql(std::string sql, Callback callback);
  static void executeQueryWithSql(std::string sql, Parameters parameters, Callback callback);

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
  std::unique_ptr<sqlite3, Closer> database;
  bool dbReady = false;
  bool tableReady = false;
  std::string dbPath;
  std::int64_t maxDbSizeBytesBeforeTrim;
  std::int64_t maxDbSizeBytes;
};

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "runtime/ZVThreading.h"
#include "store/Connection.h"
#include "store/ZVStore.h"

namespace zorvane {

namespace {

// By its first word, in any case.
bool changesData(const std::string& sql) {
  constexpr auto kWords = std::to_array<const char*>({"UPDATE", "INSERT", "DELETE"});
  return std::ranges::any_of(kWords, [&](const char* word) { return sqlite3_strnicmp(sql.c_str(), word, 6) == 0; });
}

}  // namespace

std::optional<ZVStore::Rows> ZVStore::executeQuerySyncWithSql(const std::string& sql, const Parameters& parameters,
                                                              bool useTransaction) {
  Connection connection(*sharedInstance().database);
  if (!connection.mayQuery()) return std::nullopt;
  std::optional<Rows> rows;
  const auto run = [&] {
    rows = connection.run(sql, parameters);
    return rows.has_value();
  };
  const bool changes = changesData(sql);
  if (changes && sql.find("zv_events") != std::string::npos) sharedInstance().stock = {};
  const bool transaction = useTransaction || changes;
  const bool done = connection.makingRoom(Connection::Reserve::kept,
                                          [&] { return transaction ? connection.inTransaction(run) : run(); });
  return done ? std::move(rows) : std::nullopt;
}

void ZVStore::executeQueryWithSql(std::string sql, Callback callback) {
  executeQueryWithSql(std::move(sql), {}, std::move(callback));
}

void ZVStore::executeQueryWithSql(std::string sql, Parameters parameters, Callback callback) {
  const ZVStore& store = sharedInstance();
  if (!store.dbReady || !store.tableReady) {
    if (callback) callback(std::nullopt, "Database and/or table not ready");
    return;
  }
  ZVThreading::performTaskOnZVThreadWithBlock(
      [sql = std::move(sql), parameters = std::move(parameters), callback = std::move(callback)] {
        auto rows = executeQuerySyncWithSql(sql, parameters);
        if (!callback) return;
        if (rows) callback(std::move(rows), std::nullopt);
        else callback(std::nullopt, sqlite3_errmsg(getDatabase()));
      });
}

}  // namespace zorvane

#include <string>
#include <utility>

#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "store/Connection.h"
#include "store/Database.h"
#include "store/ZVStore.h"

namespace zorvane {

namespace {

constexpr const char* kReplaceSnapshot =
    "INSERT OR REPLACE INTO zv_session(session_id, timestamp, event) VALUES(?, ?, ?);";

ZVStore::Parameters columnsOf(const ZVStore::Snapshot& snapshot) {
  return {snapshot.sessionId, snapshot.sessionStart, snapshot.json};
}

bool insert(Connection& connection, const ZVStore::Event& event) {
  return connection.runOften(
      "INSERT INTO zv_events (status, category, session_id, client_ts, event) VALUES(?, ?, ?, ?, ?);",
      {"new", event.category, event.sessionId, event.clientTs, event.json});
}

bool replace(Connection& connection, const ZVStore::Snapshot& snapshot) {
  return connection.runOften(kReplaceSnapshot, columnsOf(snapshot));
}

bool forget(Connection& connection, const std::string& sessionId) {
  return connection.run("DELETE FROM zv_session WHERE session_id = ?;", {sessionId}).has_value();
}

bool set(Connection& connection, const Counter& counter) {
  return connection.run("INSERT OR REPLACE INTO zv_state (key, value) VALUES(?, ?);", {counter.key, counter.value})
      .has_value();
}

bool write(Connection& connection, const ZVStore::Event& event, const ZVStore::SessionChange& change,
           const std::optional<Counter>& counter) {
  return connection.inTransaction([&] {
    return insert(connection, event) && (!counter || set(connection, *counter)) &&
           (!change.snapshot || replace(connection, *change.snapshot)) &&
           (!change.ended || forget(connection, event.sessionId));
  });
}

// Once: what keeps one event from being stored will keep others. A full disk has a line of its own.
void warnOfLoss(const Connection& connection) {
  ZVStore& store = ZVStore::sharedInstance();
  if (std::exchange(store.lossIsKnown, true) || store.database->fullDiskIsKnown) return;
  ZVLogger::w(0, "An event could not be stored, and others may be lost as well: {}", connection.failure());
}

void keepStock(ZVStore::Stock& stock, const std::string& clientTs) {
  if (clientTs < stock.latest) stock = {};
  else stock.latest = clientTs;
}

}  // namespace

bool ZVStore::recordEvent(const Event& event, const SessionChange& change, const std::optional<Counter>& counter) {
  const bool counterIsElsewhere = platform().television && counter.has_value();
  if (counterIsElsewhere) setUserDefaultsStateWithKey(counter->key, counter->value);
  const std::optional<Counter> stored = counterIsElsewhere ? std::nullopt : counter;

  Connection connection(*sharedInstance().database);
  if (!connection.mayQuery()) return false;
  Stock& stock = sharedInstance().stock;
  if (connection.makingRoom(Connection::Reserve::kept, [&] { return write(connection, event, change, stored); })) {
    keepStock(stock, event.clientTs);
    return true;
  }
  stock = {};                       // the session may be one whose snapshot or end is missing
  if (connection.failedOfLock()) {  // and would wait for it again
    warnOfLoss(connection);
    return false;
  }
  // A snapshot is worth less than its event: the next event brings another one.
  if (change.snapshot && write(connection, event, {}, stored)) return true;
  // The event is lost, but what else carries the number must not share it with the next run's.
  warnOfLoss(connection);
  if (stored) connection.inTransaction([&] { return set(connection, *stored); });
  return false;
}

void ZVStore::keepSnapshot(const Snapshot& snapshot) { executeQuerySyncWithSql(kReplaceSnapshot, columnsOf(snapshot)); }

std::optional<bool> ZVStore::holdsEventWith(const std::string& text) {
  const auto rows = executeQuerySyncWithSql("SELECT status FROM zv_events WHERE instr(event, ?) > 0 LIMIT 1;", {text});
  return rows ? std::optional(!rows->empty()) : std::nullopt;
}

// A version that took two steps may have been killed between them.
void ZVStore::forgetEndedSessions() {
  if (isStockKnown()) return;
  const std::string ended =
      " FROM zv_session WHERE session_id IN "
      "(SELECT session_id FROM zv_events WHERE category = 'session_end')";
  const auto found = executeQuerySyncWithSql("SELECT 1" + ended + " LIMIT 1;");
  if (found && !found->empty()) executeQuerySyncWithSql("DELETE" + ended + ";");  // rarely: it takes the write lock
}

std::vector<ZVStore::OpenSession> ZVStore::sessionsWithoutEnd(const std::string& current) {
  std::vector<OpenSession> sessions;
  const auto add = [&](const std::string& sql) {
    const auto rows = executeQuerySyncWithSql(sql, {current});
    for (const Row& row : rows.value_or(Rows()))
      sessions.push_back(
          {row.textOf("session_id"), row.textOf("timestamp"), row.textOf("last_ts"), row.textOf("event")});
  };
  add("SELECT session_id, timestamp, event FROM zv_session WHERE session_id != ?;");
  if (isStockKnown()) return sessions;
  // No snapshot could be stored with the start: the start stands in for it, as of the session's latest event.
  add("SELECT session_id, client_ts AS timestamp, event, (SELECT Max(CAST(client_ts AS INTEGER)) FROM zv_events AS its "
      "WHERE its.session_id = zv_events.session_id) AS last_ts FROM zv_events WHERE category = 'user' "
      "AND session_id != ? AND session_id NOT IN (SELECT session_id FROM zv_session) "
      "AND session_id NOT IN (SELECT session_id FROM zv_events WHERE category = 'session_end');");
  return sessions;
}

}  // namespace zorvane

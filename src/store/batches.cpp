// A batch is what one request takes. Its rows stay as they are while the request is on its way, so a request without an
// answer costs the disk nothing. What keeps two processes from sending the same events is a lock that the sender holds;
// the system takes it back from one that is killed. What is removed in the end are the records that were sent, even if
// another process has deleted or renumbered rows meanwhile.
#include <filesystem>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "platform/FolderLock.h"
#include "runtime/CrashHandling.h"
#include "runtime/ZVLogger.h"
#include "store/Connection.h"
#include "store/Database.h"
#include "store/ZVStore.h"
#include "values/Text.h"

namespace zorvane {

namespace {

using Batch = ZVStore::Batch;
using RowId = std::string;

std::string filterOf(ZVText category) {
  return category.present() ? fmt::format(" AND category='{}' ", category.view()) : std::string();
}

// A number that changes when another connection has changed the database; "" when it can't be read.
std::string dataVersion(Connection& connection) {
  const auto rows = connection.run("PRAGMA data_version");
  return rows && !rows->empty() ? rows->front().textOf("data_version") : "";
}

bool isKnown(const ZVStore::Stock& stock, Connection& connection) {
  return stock.inOrder && stock.dataVersion == dataVersion(connection);
}

void add(Batch& batch, const ZVStore::Row& row) {
  batch.rows.push_back(row.textOf("rowid"));
  batch.records.push_back(row.textOf("event"));
}

// Where the rows are known to wait in the order of their timestamps nothing is read but what is sent, and one row more.
bool chooseFirst(Connection& connection, Batch& batch) {
  std::string lastSecond;
  std::int64_t bytes = 2;  // the brackets of the list; each record brings a comma
  return connection.read("SELECT rowid, client_ts, event FROM zv_events ORDER BY rowid;", {},
                         [&](const ZVStore::Row& row) {
                           std::string clientTs = row.textOf("client_ts");
                           bytes += static_cast<std::int64_t>(row.textOf("event").size()) + 1;
                           const std::size_t count = batch.rows.size();
                           if (count > 0 && bytes > ZVStore::kMaxBatchBytes) return false;
                           if (count >= ZVStore::kMaxBatchRows && clientTs != lastSecond) return false;
                           add(batch, row);
                           lastSecond = std::move(clientTs);
                           return true;
                         });
}

// Where everything fits into one batch's rows: absent. Otherwise the row in whose second the limit falls; the rest of
// that second goes along. Timestamps compare as they are stored, whatever that is: rows are named by their number.
std::optional<RowId> lastByCount(Connection& connection, const std::string& filter) {
  const auto rows = connection.run(
      fmt::format("SELECT rowid FROM zv_events WHERE status = 'new' {} ORDER BY client_ts ASC LIMIT {},2;", filter,
                  ZVStore::kMaxBatchRows - 1));
  if (!rows || rows->size() < 2) return std::nullopt;
  return rows->front().textOf("rowid");
}

// The last of as many of the oldest rows as the limits allow, at least one; absent when none waits.
std::optional<RowId> lastOfBatch(Connection& connection, const std::string& filter) {
  const auto byCount = lastByCount(connection, filter);
  std::optional<RowId> last;
  std::int64_t bytes = 2;
  connection.read(
      fmt::format("SELECT rowid, length(CAST(event AS BLOB)) AS bytes FROM zv_events WHERE status = 'new' {} {} "
                  "ORDER BY client_ts, rowid;",
                  filter, byCount ? "AND client_ts <= (SELECT client_ts FROM zv_events WHERE rowid = ?)" : ""),
      byCount ? ZVStore::Parameters{*byCount} : ZVStore::Parameters{}, [&](const ZVStore::Row& row) {
        bytes += integerOfText(row.textOf("bytes")) + 1;
        if (last && bytes > ZVStore::kMaxBatchBytes) return false;
        last = row.textOf("rowid");
        return true;
      });
  return last;
}

// A start goes along with its session's end, or another end would be made of it: it may come later, for the clock went
// back, and it may bear the mark that an older version left.
bool chooseOldest(Connection& connection, ZVText category, Batch& batch) {
  const std::string filter = filterOf(category);
  const auto last = lastOfBatch(connection, filter);
  if (!last) return true;
  const std::string chosen = "status = 'new' " + filter +
                             " AND (client_ts, rowid) <= (SELECT client_ts, rowid FROM zv_events WHERE rowid = ?1)";
  const std::string starts = category.present()
                                 ? ""
                                 : " OR category = 'user' AND session_id IN (SELECT session_id FROM zv_events WHERE "
                                   "category = 'session_end' AND " +
                                       chosen + ")";
  return connection.read("SELECT rowid, event FROM zv_events WHERE " + chosen + starts + " ORDER BY rowid;", {*last},
                         [&](const ZVStore::Row& row) {
                           add(batch, row);
                           return true;
                         });
}

// Nobody else sends while the batch lives. Where the folder can't be locked nobody else is kept away.
bool becomeSender(const std::string& database, Batch& batch) {
  const std::filesystem::path path(database);
  if (!path.has_parent_path()) return true;  // in memory
  const auto lock = std::make_shared<FolderLock>(path.parent_path().string(), path.filename().string() + ".sending");
  batch.sender = lock;
  // The crashed thread may have been sending; its lock is given up with the process only.
  return lock->takeAlone(std::chrono::milliseconds(0)) != FolderLock::Outcome::busy || CrashHandling::isUnderWay();
}

bool removeRows(Connection& connection, const std::vector<RowId>& rows) {
  return rows.empty() ||
         connection.run(fmt::format("DELETE FROM zv_events WHERE rowid IN ({});", joined(rows, ","))).has_value();
}

// After others were at the table a row's number may be another record's.
bool removeRecords(Connection& connection, const Batch& batch) {
  for (std::size_t i = 0; i < batch.rows.size(); ++i) {
    const auto there =
        connection.run("SELECT 1 FROM zv_events WHERE rowid = ? AND event = ?;", {batch.rows[i], batch.records[i]});
    if (!there) return false;
    const bool removed = there->empty()
                             ? connection.run("DELETE FROM zv_events WHERE event = ?;", {batch.records[i]}).has_value()
                             : removeRows(connection, {batch.rows[i]});
    if (!removed) return false;
  }
  return true;
}

bool removeTogether(Connection& connection, const Batch& batch) {
  const auto removeAll = [&] {
    const bool untouched = !batch.dataVersion.empty() && batch.dataVersion == dataVersion(connection);
    return untouched ? removeRows(connection, batch.rows) : removeRecords(connection, batch);
  };
  return connection.makingRoom(Connection::Reserve::lent,
                               [&] { return connection.inTransaction(removeAll, Connection::Begin::immediate); });
}

// At once or, where the disk has no room for that, one by one, for which the reserve is there. What couldn't be removed
// stays in the batch.
void remove(Batch& batch) {
  Connection connection(*ZVStore::sharedInstance().database);
  if (!connection.mayQuery()) return;
  if (removeTogether(connection, batch)) {
    batch.rows.clear();
    return;
  }
  batch.dataVersion.clear();  // the rows may be other events' by the time this is tried again
  while (connection.failedOfFullDisk() && !batch.rows.empty()) {
    if (!removeTogether(connection, {{batch.records.back()}, {batch.rows.back()}, {}, {}})) return;
    batch.records.pop_back();
    batch.rows.pop_back();
  }
}

// Whether nothing is left of what was sent before. It must not be sent again.
bool isRidOf(std::optional<Batch>& sent) {
  if (!sent) return true;
  remove(*sent);
  if (!sent->rows.empty()) return false;
  sent.reset();
  return true;
}

}  // namespace

std::optional<ZVStore::Batch> ZVStore::takeBatch(ZVText category) {
  ZVStore& store = sharedInstance();
  Batch batch;
  if (!becomeSender(store.database->path, batch)) {
    ZVLogger::d(0, "Another process is sending events.");
    return std::nullopt;
  }
  if (!isRidOf(store.sentBefore)) {
    giveRoomBack();
    return std::nullopt;
  }
  Connection connection(*store.database);
  if (!connection.mayQuery()) return Batch();
  const bool read = connection.inTransaction([&] {
    batch.dataVersion = dataVersion(connection);
    return !category.present() && isKnown(store.stock, connection) ? chooseFirst(connection, batch)
                                                                   : chooseOldest(connection, category, batch);
  });
  return read ? std::move(batch) : Batch();
}

void ZVStore::removeBatch(Batch batch) {
  remove(batch);
  if (batch.rows.empty()) return;
  batch.sender.reset();
  sharedInstance().sentBefore = std::move(batch);
}

void ZVStore::giveAllBatchesBack() {
  ZVStore& store = sharedInstance();
  Connection connection(*store.database);
  if (!connection.mayQuery() || isKnown(store.stock, connection)) return;
  const std::string marked = " FROM zv_events WHERE status != 'new' LIMIT 1";
  const auto found = connection.run("SELECT rowid" + marked);
  if (!found || found->empty()) return;
  const auto run = [&](const std::string& where) {
    return connection.makingRoom(Connection::Reserve::lent, [&] {
      return connection.inTransaction(
          [&] { return connection.run("UPDATE zv_events SET status = 'new' WHERE " + where).has_value(); });
    });
  };
  if (run("status != 'new';") || !connection.failedOfFullDisk()) return;
  for (auto left = connection.run("SELECT rowid" + marked); left && !left->empty();
       left = connection.run("SELECT rowid" + marked))
    if (!run("rowid = " + left->front().textOf("rowid"))) return;
}

bool ZVStore::isStockKnown() {
  const ZVStore& store = sharedInstance();
  Connection connection(*store.database);
  return connection.mayQuery() && isKnown(store.stock, connection);
}

void ZVStore::takeStock() {
  ZVStore& store = sharedInstance();
  Connection connection(*store.database);
  if (!connection.mayQuery() || isKnown(store.stock, connection)) return;
  store.stock = {};
  std::string version = dataVersion(connection);
  const auto disorder = connection.run(
      "SELECT 1 FROM (SELECT status, client_ts, lag(client_ts) OVER (ORDER BY rowid) AS before FROM zv_events) "
      "WHERE status != 'new' OR typeof(client_ts) != 'text' OR client_ts < before LIMIT 1;");
  const auto latest = connection.run("SELECT client_ts FROM zv_events ORDER BY rowid DESC LIMIT 1;");
  if (!disorder || !disorder->empty() || !latest) return;
  store.stock = {std::move(version), latest->empty() ? "" : latest->front().textOf("client_ts"), true};
}

}  // namespace zorvane

// A batch is what one request takes: rows that bear the request's id as their status. They are chosen and marked in one
// transaction and then selected by the mark, so what is deleted in the end is what was sent, whatever another process
// stores or removes meanwhile.
#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "store/Connection.h"
#include "store/Reserve.h"
#include "values/Text.h"

namespace zorvane {

namespace {

// Timestamps compare as they are stored, whatever that is: rows are named by their number alone, which holds for the
// length of the transaction.
using RowId = std::string;

std::string filterOf(ZVText category) {
  return category.present() ? fmt::format(" AND category='{}' ", category.view()) : std::string();
}

// Where everything fits into one batch's rows: absent. Otherwise the row in whose second the limit falls; the rest of
// that second goes along.
std::optional<RowId> lastByCount(Connection& connection, const std::string& filter) {
  const auto rows = connection.run(
      fmt::format("SELECT rowid FROM zv_events WHERE status = 'new' {} ORDER BY client_ts ASC LIMIT {},2;", filter,
                  ZVStore::kMaxBatchRows - 1));
  if (!rows || rows->size() < 2) return std::nullopt;
  return rows->front().textOf("rowid");
}

// The last of as many of the oldest rows as the limits allow, at least one; absent when none waits.
std::optional<RowId> lastOfBatch(Connection& connection, const std::string& filter, std::int64_t mostBytes) {
  const auto byCount = lastByCount(connection, filter);
  const auto rows = connection.run(
      fmt::format("SELECT rowid, length(CAST(event AS BLOB)) AS bytes FROM zv_events WHERE status = 'new' {} {} "
                  "ORDER BY client_ts, rowid;",
                  filter, byCount ? "AND client_ts <= (SELECT client_ts FROM zv_events WHERE rowid = ?)" : ""),
      byCount ? ZVStore::Parameters{*byCount} : ZVStore::Parameters{});
  std::optional<RowId> last;
  std::int64_t bytes = 2;  // the brackets of the list; each record brings a comma
  for (const ZVStore::Row& row : rows.value_or(ZVStore::Rows())) {
    bytes += integerOfText(row.textOf("bytes")) + 1;
    if (last && bytes > mostBytes) break;
    last = row.textOf("rowid");
  }
  return last;
}

bool markUpTo(Connection& connection, const RowId& last, const std::string& filter, const std::string& requestId) {
  return connection
      .run(fmt::format("UPDATE zv_events SET status = ? WHERE status = 'new' {} AND (client_ts, rowid) <= "
                       "(SELECT client_ts, rowid FROM zv_events WHERE rowid = ?);",
                       filter),
           {requestId, last})
      .has_value();
}

// A start goes along with its session's end, or another end would be made of it: it may come later, for the clock went
// back, and it may bear the mark of a run that was killed.
bool markStartsOfEndedSessions(Connection& connection, const std::string& requestId) {
  return connection
      .run(
          "UPDATE zv_events SET status = ? WHERE status != ? AND category = 'user' AND session_id IN "
          "(SELECT session_id FROM zv_events WHERE status = ? AND category = 'session_end');",
          {requestId, requestId, requestId})
      .has_value();
}

bool mark(Connection& connection, const std::string& requestId, ZVText category, std::int64_t mostBytes) {
  const std::string filter = filterOf(category);
  const auto choose = [&] {
    const auto last = lastOfBatch(connection, filter, mostBytes);
    return last && markUpTo(connection, *last, filter, requestId) &&
           (category.present() || markStartsOfEndedSessions(connection, requestId));
  };
  return connection.makingRoom(Connection::Reserve::lent,
                               [&] { return connection.inTransaction(choose, Connection::Begin::immediate); });
}

// Marking writes a batch's rows to the log once more: where the disk has no room for that, a smaller batch may do.
bool markWhatTheDiskAllows(const std::string& requestId, ZVText category) {
  constexpr std::int64_t kSmallest = 1024;  // a row alone
  Connection connection;
  for (std::int64_t bytes = ZVStore::kMaxBatchBytes; bytes >= kSmallest; bytes /= 2) {
    if (mark(connection, requestId, category, bytes)) return true;
    if (!connection.failedOfFullDisk()) return false;
  }
  return false;
}

bool isWaiting(ZVText category) {
  const auto rows = ZVStore::executeQuerySyncWithSql(
      fmt::format("SELECT 1 FROM zv_events WHERE status = 'new' {} LIMIT 1;", filterOf(category)));
  return rows && !rows->empty();
}

// Does something with every row of which the condition holds: at once or, where the disk has no room for that, one by
// one. The reserve is there for both.
void change(const std::string& action, const std::string& condition, const ZVStore::Parameters& parameters = {}) {
  Connection connection;
  if (!connection.mayQuery()) return;
  const auto run = [&](const std::string& where) {
    return connection.makingRoom(Connection::Reserve::lent, [&] {
      return connection.inTransaction([&] { return connection.run(action + where, parameters).has_value(); });
    });
  };
  if (run(" WHERE " + condition + ";") || !connection.failedOfFullDisk()) return;
  const std::string first = "SELECT rowid FROM zv_events WHERE " + condition + " LIMIT 1";
  for (auto left = connection.run(first, parameters); left && !left->empty(); left = connection.run(first, parameters))
    if (!run(" WHERE rowid = (" + first + ");")) return;
}

}  // namespace

std::optional<ZVStore::Rows> ZVStore::takeBatch(const std::string& requestId, ZVText category) {
  if (!isWaiting(category)) return Rows();
  if (!markWhatTheDiskAllows(requestId, category)) {
    giveRoomBack();
    return std::nullopt;
  }
  auto rows = executeQuerySyncWithSql("SELECT event FROM zv_events WHERE status = ?;", {requestId});
  if (!rows) giveBatchBack(requestId);
  return rows;
}

void ZVStore::giveBatchBack(const std::string& requestId) {
  change("UPDATE zv_events SET status = 'new'", "status = ?", {requestId});
}

void ZVStore::removeBatch(const std::string& requestId) { change("DELETE FROM zv_events", "status = ?", {requestId}); }

void ZVStore::giveAllBatchesBack() { change("UPDATE zv_events SET status = 'new'", "status != 'new'"); }

}  // namespace zorvane

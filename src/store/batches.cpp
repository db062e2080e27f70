// A batch is what one request takes: rows that bear the request's id as their status. They are marked first and then
// selected by the mark, so what is deleted in the end is what was sent, whatever another process stores meanwhile.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/Connection.h"
#include "store/Reserve.h"
#include "values/Text.h"

namespace {

// Timestamps compare as they are stored, whatever that is: rows are named by their number alone.
using RowId = std::string;

// Where everything fits into one batch's rows: absent. Otherwise the row in whose second the limit falls; the rest of
// that second goes along.
std::optional<RowId> lastByCount(const std::string& filter) {
  const auto rows = ZVStore::executeQuerySyncWithSql(
      fmt::format("SELECT rowid FROM zv_events WHERE status = 'new' {} ORDER BY client_ts ASC LIMIT {},2;", filter,
                  ZVStore::kMaxBatchRows - 1));
  if (!rows || rows->size() < 2) return std::nullopt;
  return rows->front().textOf("rowid");
}

// The last of as many of the oldest rows as the limits allow, at least one; absent when none waits.
std::optional<RowId> lastOfBatch(const std::string& filter) {
  const auto byCount = lastByCount(filter);
  const auto rows = ZVStore::executeQuerySyncWithSql(
      fmt::format("SELECT rowid, length(CAST(event AS BLOB)) AS bytes FROM zv_events WHERE status = 'new' {} {} "
                  "ORDER BY client_ts, rowid;",
                  filter, byCount ? "AND client_ts <= (SELECT client_ts FROM zv_events WHERE rowid = ?)" : ""),
      byCount ? ZVStore::Parameters{*byCount} : ZVStore::Parameters{});
  std::optional<RowId> last;
  std::int64_t bytes = 2;  // the brackets of the list; each record brings a comma
  for (const ZVStore::Row& row : rows.value_or(ZVStore::Rows())) {
    bytes += integerOfText(row.textOf("bytes")) + 1;
    if (last && bytes > ZVStore::kMaxBatchBytes) break;
    last = row.textOf("rowid");
  }
  return last;
}

struct Statement {
  std::string sql;
  ZVStore::Parameters parameters;
};

// A change of marks, for which the reserve is there: all of it or nothing.
bool change(const std::vector<Statement>& statements) {
  Connection connection;
  return connection.mayQuery() && connection.makingRoom(Connection::Reserve::lent, [&] {
    return connection.inTransaction([&] {
      return std::ranges::all_of(statements, [&](const Statement& statement) {
        return connection.run(statement.sql, statement.parameters).has_value();
      });
    });
  });
}

}  // namespace

std::optional<ZVStore::Rows> ZVStore::takeBatch(const std::string& requestId, ZVText category) {
  const std::string filter = category.present() ? fmt::format(" AND category='{}' ", category.view()) : std::string();
  const auto last = lastOfBatch(filter);
  if (!last) return Rows();
  std::vector<Statement> marking{
      {fmt::format("UPDATE zv_events SET status = ? WHERE status = 'new' {} AND (client_ts, rowid) <= "
                   "(SELECT client_ts, rowid FROM zv_events WHERE rowid = ?);",
                   filter),
       {requestId, *last}}};
  // The clock may have gone back: a start that is later than its session's end goes along with it, or it would wait for
  // an end that has been sent.
  if (!category.present())
    marking.push_back(
        {"UPDATE zv_events SET status = ? WHERE status = 'new' AND category = 'user' AND session_id IN "
         "(SELECT session_id FROM zv_events WHERE status = ? AND category = 'session_end');",
         {requestId, requestId}});
  if (!change(marking)) {
    restoreReserve(sharedInstance().dbPath);
    return std::nullopt;
  }
  auto rows = executeQuerySyncWithSql("SELECT event FROM zv_events WHERE status = ?;", {requestId});
  if (!rows) giveBatchBack(requestId);
  return rows;
}

void ZVStore::giveBatchBack(const std::string& requestId) {
  change({{"UPDATE zv_events SET status = 'new' WHERE status = ?;", {requestId}}});
}

void ZVStore::removeBatch(const std::string& requestId) {
  change({{"DELETE FROM zv_events WHERE status = ?;", {requestId}}});
}

void ZVStore::giveAllBatchesBack() { change({{"UPDATE zv_events SET status = 'new' WHERE status != 'new';", {}}}); }

#include "collector/questions/WarehouseEngine.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/questions/Histogram.h"
#include "collector/questions/Refusals.h"
#include "collector/questions/Sums.h"
#include "collector/questions/Totals.h"
#include "collector/questions/WarehouseSql.h"
#include "collector/warehouse/Literals.h"

namespace collector {

namespace {

// How a sum is asked for, in fields of the answer.
std::string askedFor(Sum sum) {
  switch (sum) {
    case Sum::events: return "count()";
    case Sum::players: return "uniqExactIf(player, has_player = 1)";
    case Sum::valued: return "sum(is_measured)";
    case Sum::total: return "sum(is_measured), " + askedForTotal();
    case Sum::least: return "sum(is_measured), minIf(measure, is_measured = 1)";
    case Sum::most: return "sum(is_measured), maxIf(measure, is_measured = 1)";
  }
  return "";
}

Value read(Sum sum, const std::string*& field, std::int64_t parts) {
  const std::int64_t first = wholeIn(*field++);
  if (sum == Sum::events || sum == Sum::players || sum == Sum::valued) return first;
  const std::int64_t second = wholeIn(*field++);
  const Wide measures = sum == Sum::total ? totalOf(second, wholeIn(*field++)) : Wide{second};
  return first != 0 ? unitsOf(measures, parts) : Value();
}

// Grouped by the hash of the texts: a number is found sooner than several texts.
std::string sqlFor(const Filter& filter, const Query& query) {
  std::string select, order, texts, groups;
  if (query.byDay) {
    select = "day, ";
    order = "day, ";
    groups = "day";
  }
  order += "n DESC";
  for (const Column column : query.by) {
    const auto alias = fmt::format("t{}", static_cast<int>(column));
    select += fmt::format("any({}) AS {}, ", nameOf(column), alias);
    order += ", " + alias;
    texts += fmt::format("{}{}", texts.empty() ? "" : ", ", nameOf(column));
  }
  if (!texts.empty()) groups += fmt::format("{}sipHash64({})", groups.empty() ? "" : ", ", texts);
  select += "count() AS n";
  for (const Sum sum : query.sums) select += ", " + askedFor(sum);
  return fmt::format("SELECT {} {}{}{}{} HAVING n > 0 ORDER BY {} LIMIT {} FORMAT TabSeparated", select,
                     eventsOf(filter, {query.category}), conditions(query.where), groups.empty() ? "" : " GROUP BY ",
                     groups, order, query.limit);
}

std::string categoryOf(const Search& search) {
  const auto category = search.where.find(Column::category);
  return category != search.where.end() ? category->second : "";
}

// Without FINAL, which would read every column of everything: what came twice is left out of the few that are found.
std::string sqlFor(const Filter& filter, const Search& search) {
  std::string sql =
      fmt::format("{} AND {}{}", kinds(filter, {categoryOf(search)}), within(filter), conditions(search.where));
  if (search.userId) sql += fmt::format(" AND player = sipHash64({}) AND has_player = 1", literal(*search.userId));
  if (search.sessionId) sql += fmt::format(" AND session_id = {}", literal(*search.sessionId));
  return sql;
}

constexpr std::size_t kSparePerEvent = 2;  // few come more often than twice
constexpr std::int64_t kFurther = 8;

// The time of the event that so many come behind, as a text; empty where there are fewer. Among the last days first.
std::string timeOf(const EventsOnce& warehouse, const Filter& filter, const Search& search, std::size_t reach) {
  for (std::int64_t days = 1;; days *= kFurther) {
    Filter last = filter;
    last.from = std::max(filter.from, filter.to + 1 - days);
    const auto rows = rowsOf(warehouse.run(
        fmt::format("SELECT client_ts FROM events WHERE {} ORDER BY client_ts DESC LIMIT {}, 1 FORMAT TabSeparated",
                    sqlFor(last, search), reach - 1)));
    if (!rows.empty()) return rows[0][0];
    if (last.from == filter.from) return "";
  }
}

}  // namespace

Table WarehouseEngine::events(const Filter& filter, const Query& query) {
  Table table;
  if (query.byDay) table.columns.emplace_back("day");
  for (const Column column : query.by) table.columns.emplace_back(nameOf(column));
  for (const Sum sum : query.sums) table.columns.emplace_back(titleOf(sum));
  for (const auto& fields : rowsOf(warehouse_.run(sqlFor(filter, query)))) {
    const std::string* field = fields.data();
    auto& row = table.rows.emplace_back();
    if (query.byDay) row.emplace_back(wholeIn(*field++));
    for (std::size_t text = 0; text < query.by.size(); ++text) row.emplace_back(*field++);
    ++field;  // by which they are ordered
    for (const Sum sum : query.sums) row.push_back(read(sum, field, partsOf(query.category)));
  }
  return table;
}

Table WarehouseEngine::lengths(const Filter& filter, bool byDay) {
  Table table{{"seconds", "sessions"}, {}};
  if (byDay) table.columns.insert(table.columns.begin(), "day");
  const std::string by = byDay ? "day, measure" : "measure";
  const std::string sql =
      fmt::format("SELECT {0}, count() {1} AND is_measured = 1 GROUP BY {0} ORDER BY {0} FORMAT TabSeparated", by,
                  eventsOf(filter, {"session_end"}));
  for (const auto& fields : rowsOf(warehouse_.run(sql))) {
    const std::string* field = fields.data();
    auto& row = table.rows.emplace_back();
    if (byDay) row.emplace_back(wholeIn(*field++));
    row.emplace_back(unitsOf(wholeIn(*field++), partsOf("session_end")));
    row.emplace_back(wholeIn(*field));
  }
  return table;
}

Table WarehouseEngine::life(const Filter& filter, const std::string& userId, std::size_t limit) {
  Table table{{"client_ts", "received_at", "category", "session_id", "record"}, {}};
  // One player has few events: what came twice is left out here, sooner than FINAL could among everybody's.
  const std::string sql = fmt::format(
      "SELECT client_ts, received_at, category, session_id, record FROM events PREWHERE player = sipHash64({}) WHERE "
      "game = {} AND has_player = 1 AND {} ORDER BY client_ts, toString(event_uuid) LIMIT 1 BY kind, client_ts, "
      "event_uuid LIMIT {} FORMAT TabSeparated",
      literal(userId), literal(filter.game), within(filter), limit);
  for (auto& fields : rowsOf(warehouse_.run(sql)))
    table.rows.push_back(
        {wholeIn(fields[0]), wholeIn(fields[1]), std::move(fields[2]), std::move(fields[3]), std::move(fields[4])});
  return table;
}

// The time behind which the newest must be is found first: then few of the large columns are read.
Table WarehouseEngine::rows(const Filter& filter, const Search& search) {
  const std::string where = sqlFor(filter, search);
  Table table{{"client_ts", "received_at", "category", "user_id", "session_id", "platform", "build", "record"}, {}};
  const bool hasFew = search.userId || search.sessionId;
  for (std::size_t reach = kSparePerEvent * search.limit;; reach *= kFurther) {
    const std::string earliest = hasFew ? "" : timeOf(warehouse_, filter, search, reach);
    const std::string sql = fmt::format(
        "SELECT client_ts, received_at, category, user_id, session_id, platform, build, record FROM events PREWHERE "
        "{}{} ORDER BY client_ts DESC, toString(event_uuid) DESC LIMIT 1 BY kind, client_ts, event_uuid LIMIT {} "
        "FORMAT "
        "TabSeparated",
        where, earliest.empty() ? "" : " AND client_ts >= " + earliest, search.limit);
    auto found = rowsOf(warehouse_.run(sql));
    if (found.size() < search.limit && !earliest.empty()) continue;
    std::size_t bytes = 0;
    for (auto fields = found.begin(); fields != found.end() && !table.isCut; ++fields) {
      bytes += fields->back().size();
      table.isCut = bytes > kMostBytes;
      auto& row = table.rows.emplace_back(Line{wholeIn(fields->at(0)), wholeIn(fields->at(1))});
      for (std::size_t field = 2; field < fields->size(); ++field) row.emplace_back(std::move(fields->at(field)));
    }
    return table;
  }
}

Table WarehouseEngine::hours(const Filter& filter) {
  constexpr std::int64_t kHours = 24;  // a day
  Table table{{"day", "hour", "players", "sessions", "events"}, {}};
  const std::string sql = fmt::format(
      "SELECT intDiv(client_ts, {}) AS hour, uniqExactIf(player, has_player = 1), countIf({}), count() {} GROUP BY "
      "hour ORDER BY hour FORMAT TabSeparated",
      kSecondsADay / kHours, kinds(filter, {"user"}), eventsOf(filter, {""}));
  for (const auto& fields : rowsOf(warehouse_.run(sql))) {
    const std::int64_t hour = wholeIn(fields[0]);
    auto& row = table.rows.emplace_back(Line{hour / kHours, hour % kHours});
    for (std::size_t field = 1; field < fields.size(); ++field) row.emplace_back(wholeIn(fields[field]));
  }
  return table;
}

Table WarehouseEngine::totals(const Filter& filter, const Query& query) {
  std::string by;
  for (const Column column : query.by) by += fmt::format("{}, ", nameOf(column));
  const std::string sql = fmt::format(
      "SELECT {}{} {}{} AND has_player = 1 AND is_measured = 1 GROUP BY {}player FORMAT "
      "TabSeparated",
      by, askedForTotal(), eventsOf(filter, {query.category}), conditions(query.where), by);
  Totals players;
  for (auto& fields : rowsOf(warehouse_.run(sql))) {
    const Wide total = totalOf(wholeIn(fields.end()[-2]), wholeIn(fields.back()));
    fields.resize(query.by.size());
    ++players[{std::move(fields), total}];
  }
  return tableOf(query, players);
}

Table WarehouseEngine::spread(const Filter& filter, const Query& query) {
  const std::string measures =
      fmt::format("{}{} AND is_measured = 1", eventsOf(filter, {query.category}), conditions(query.where));
  const auto ends =
      rowsOf(warehouse_.run(fmt::format("SELECT count(), min(measure), quantilesExact({}, {})(measure) AS parts, "
                                        "parts[1], parts[2], max(measure) {} FORMAT TabSeparated",
                                        Histogram::kLow, Histogram::kHigh, measures)));
  if (ends.empty() || wholeIn(ends[0][0]) == 0) return Histogram::none();
  const Histogram histogram({wholeIn(ends[0][1]), wholeIn(ends[0][3]), wholeIn(ends[0][4]), wholeIn(ends[0][5])});
  std::string counts;  // of each bin and those above
  for (const std::int64_t start : histogram.starts())
    counts += fmt::format("{}countIf(measure >= {})", counts.empty() ? "" : ", ", start);
  const auto rows = rowsOf(warehouse_.run(fmt::format("SELECT {} {} FORMAT TabSeparated", counts, measures)));
  std::vector<std::int64_t> events;
  for (const std::string& field : rows.at(0)) events.push_back(wholeIn(field));
  for (std::size_t bin = 0; bin + 1 < events.size(); ++bin) events[bin] -= events[bin + 1];
  return histogram.tableOf(events, partsOf(query.category));
}

std::optional<std::vector<FieldsOfEvent>> WarehouseEngine::fields(const Filter& filter, const Query& query) {
  const std::string sql = fmt::format(
      "SELECT day, {}, custom_fields, toInt64(player), is_measured, measure {}{} LIMIT {} FORMAT TabSeparated",
      nameOf(query.by.front()), eventsOf(filter, {query.category}), conditions(query.where), query.limit + 1);
  std::vector<FieldsOfEvent> events;
  for (auto& fields : rowsOf(warehouse_.run(sql)))
    events.push_back({wholeIn(fields[0]), std::move(fields[1]), std::move(fields[2]), wholeIn(fields[3]),
                      fields[4] == "1" ? std::optional(wholeIn(fields[5])) : std::nullopt});
  if (events.size() > query.limit) return std::nullopt;
  return events;
}

Table WarehouseEngine::refused(const Filter& filter, bool byDay) {
  if (archive_ == nullptr) throw std::runtime_error("refused records stand in the archive alone");
  return refusals(*archive_, filter, byDay);
}

}  // namespace collector

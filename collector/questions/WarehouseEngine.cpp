#include "collector/questions/WarehouseEngine.h"

#include <fmt/format.h>

#include <charconv>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/questions/EventCount.h"
#include "collector/questions/Refusals.h"
#include "collector/warehouse/Literals.h"

namespace collector {

namespace {

std::int64_t wholeIn(std::string_view text) {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// An answer in the format TabSeparated.
std::vector<std::vector<std::string>> rowsOf(std::string_view answer) {
  std::vector<std::vector<std::string>> rows;
  while (!answer.empty()) {
    const auto end = answer.find('\n');
    auto line = answer.substr(0, end);
    answer.remove_prefix(end == std::string_view::npos ? answer.size() : end + 1);
    auto& row = rows.emplace_back();
    for (auto tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t')) {
      row.push_back(withoutEscapes(line.substr(0, tab)));
      line.remove_prefix(tab + 1);
    }
    row.push_back(withoutEscapes(line));
  }
  return rows;
}

std::string ofSegment(const Filter& filter) {
  std::string sql;
  for (const auto& [column, text] : filter.segment) sql += fmt::format(" AND {} = {}", nameOf(column), literal(text));
  return sql;
}

// What the table is ordered by: reading it is reading a number. Without a category, all of them.
std::string kinds(const Filter& filter, std::initializer_list<std::string_view> categories) {
  std::string sql;
  if (categories.begin()->empty()) return fmt::format("game = {}", literal(filter.game));
  for (const auto category : categories)
    sql += fmt::format("{}sipHash64({}, {})", sql.empty() ? "" : ", ", literal(filter.game), literal(category));
  return fmt::format("kind IN ({})", sql);
}

// The time is a part of the key, the day is not.
std::string within(const Filter& filter) {
  return fmt::format("client_ts >= {} AND client_ts < {}{}", filter.from * kSecondsADay, (filter.to + 1) * kSecondsADay,
                     ofSegment(filter));
}

std::string eventsOf(const Filter& filter, std::initializer_list<std::string_view> categories) {
  return fmt::format("FROM events FINAL WHERE {} AND {}", kinds(filter, categories), within(filter));
}

// Rows that came twice count once: what is asked for are different players.
std::string presenceOf(const Filter& filter) {
  return fmt::format("WHERE game = {} AND day >= {} AND day <= {}{}", literal(filter.game), filter.from, filter.to,
                     ofSegment(filter));
}

// Presence with the day on which each player was first seen anywhere: day 0 is that of records without a time.
std::string firstSeen(const Filter& filter) {
  return fmt::format(
      "FROM player_days ALL INNER JOIN (SELECT player, minIf(day, day > 0) AS first_day FROM player_days WHERE game "
      "= {} GROUP BY player) USING player {} AND first_day >= {} AND day >= first_day",
      literal(filter.game), presenceOf(filter), filter.from);
}

std::string startsAndEnds() {
  return fmt::format(
      "countIf(category = 'user'), countIf(category = 'session_end'), sumIf(intDiv(measure, {}), category = "
      "'session_end')",
      partsOf("session_end"));
}

// How a sum is asked for, in fields of the answer. A total is asked for in two parts, of which neither overflows.
constexpr std::int64_t kPart = 1'000'000'000;

std::string askedFor(Sum sum) {
  switch (sum) {
    case Sum::events: return "count()";
    case Sum::players: return "uniqExactIf(player, has_player = 1)";
    case Sum::total: return fmt::format("sum(is_measured), sum(intDiv(measure, {0})), sum(measure % {0})", kPart);
    case Sum::least: return "sum(is_measured), minIf(measure, is_measured = 1)";
    case Sum::most: return "sum(is_measured), maxIf(measure, is_measured = 1)";
  }
  return "";
}

Value read(Sum sum, const std::string*& field, std::int64_t parts) {
  const std::int64_t first = wholeIn(*field++);
  if (sum == Sum::events || sum == Sum::players) return first;
  const std::int64_t second = wholeIn(*field++);
  const Wide measures = sum == Sum::total ? Wide{second} * kPart + wholeIn(*field++) : Wide{second};
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
  std::string where;
  for (const auto& [column, text] : query.where) where += fmt::format(" AND {} = {}", nameOf(column), literal(text));
  return fmt::format("SELECT {} {}{}{}{} HAVING n > 0 ORDER BY {} LIMIT {} FORMAT TabSeparated", select,
                     eventsOf(filter, {query.category}), where, groups.empty() ? "" : " GROUP BY ", groups, order,
                     query.limit);
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

Table WarehouseEngine::days(const Filter& filter) {
  std::map<std::int64_t, std::vector<std::int64_t>> days;  // players, new ones, sessions, ended, seconds
  const auto fill = [&](std::size_t at, const std::string& sql) {
    for (const auto& fields : rowsOf(warehouse_.run(sql + " GROUP BY day FORMAT TabSeparated"))) {
      auto& day = days[wholeIn(fields[0])];
      day.resize(5);
      for (std::size_t field = 1; field < fields.size(); ++field) day[at + field - 1] = wholeIn(fields[field]);
    }
  };
  fill(0, "SELECT day, uniqExact(player) FROM player_days " + presenceOf(filter));
  fill(1, "SELECT day, uniqExact(player) " + firstSeen(filter) + " AND day = first_day");
  fill(2, fmt::format("SELECT day, {} {}", startsAndEnds(), eventsOf(filter, {"user", "session_end"})));
  Table table{{"day", "players", "new_players", "sessions", "ended", "seconds"}, {}};
  for (const auto& [day, figures] : days) {
    auto& row = table.rows.emplace_back();
    row.emplace_back(day);
    for (const std::int64_t figure : figures) row.emplace_back(figure);
  }
  return table;
}

Table WarehouseEngine::whole(const Filter& filter) {
  Table table{{"players", "new_players", "sessions", "ended", "seconds"}, {{}}};
  for (const std::string& sql :
       {"SELECT uniqExact(player) FROM player_days " + presenceOf(filter),
        "SELECT uniqExact(player) " + firstSeen(filter) + " AND day = first_day",
        fmt::format("SELECT {} {}", startsAndEnds(), eventsOf(filter, {"user", "session_end"}))}) {
    const auto rows = rowsOf(warehouse_.run(sql + " FORMAT TabSeparated"));
    if (rows.empty()) table.rows[0].emplace_back(std::int64_t{0});
    else
      for (const std::string& field : rows[0]) table.rows[0].emplace_back(wholeIn(field));
  }
  table.rows[0].resize(5, std::int64_t{0});
  return table;
}

Table WarehouseEngine::retention(const Filter& filter) {
  Table table{{"first_day", "days_later", "players"}, {}};
  const std::string sql = fmt::format(
      "SELECT first_day, day - first_day AS later, uniqExact(player) {} GROUP BY "
      "first_day, later ORDER BY first_day, later FORMAT TabSeparated",
      firstSeen(filter));
  for (const auto& fields : rowsOf(warehouse_.run(sql)))
    table.rows.push_back({wholeIn(fields[0]), wholeIn(fields[1]), wholeIn(fields[2])});
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

Table WarehouseEngine::refused(const Filter& filter, bool byDay) {
  if (archive_ == nullptr) throw std::runtime_error("refused records stand in the archive alone");
  return refusals(*archive_, filter, byDay);
}

}  // namespace collector

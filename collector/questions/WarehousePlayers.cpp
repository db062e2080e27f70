// Who was there, and when: see WarehouseEngine.h.
#include <fmt/format.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/questions/Progress.h"
#include "collector/questions/WarehouseEngine.h"
#include "collector/questions/WarehouseSql.h"
#include "collector/warehouse/Literals.h"

namespace collector {

namespace {

// Rows that came twice count once: what is asked for are different players.
std::string presenceOf(const Filter& filter) {
  return fmt::format("WHERE game = {} AND day >= {} AND day <= {}{}", literal(filter.game), filter.from, filter.to,
                     conditions(filter.segment));
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

// A step as a text: these sort as steps do.
std::string stepText() {
  const std::string end = literal(std::string(1, '\0'));
  return fmt::format(
      "concat(progression01, {0}, progression02, {0}, progression03, {0}, multiIf(status = 'Complete', '2', status = "
      "'Fail', '1', '0'))",
      end);
}

Step stepOf(std::string_view text) {
  Step step;
  for (std::string& name : step.level) {
    const auto end = text.find('\0');
    name = text.substr(0, end);
    text.remove_prefix(end + 1);
  }
  step.rank = static_cast<Rank>(wholeIn(text));
  return step;
}

}  // namespace

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

Table WarehouseEngine::builds(const Filter& filter) {
  Table table{{"build", "first_day", "last_day", "players"}, {}};
  const std::string sql = fmt::format(
      "SELECT build, min(day) AS begun, max(day), uniqExact(player) FROM player_days {} GROUP BY build ORDER BY begun, "
      "build FORMAT TabSeparated",
      presenceOf(filter));
  for (const auto& fields : rowsOf(warehouse_.run(sql)))
    table.rows.push_back({fields[0], wholeIn(fields[1]), wholeIn(fields[2]), wholeIn(fields[3])});
  return table;
}

// Who comes twice has still the same days.
Table WarehouseEngine::players(const Filter& filter, const std::string& starts, std::size_t limit) {
  Table table{{"user_id", "first_day", "last_day"}, {}};
  const std::string begins = starts.empty() ? "" : fmt::format(" AND startsWith(user_id, {})", literal(starts));
  const std::string sql = fmt::format(
      "SELECT user_id, min(day), max(day) FROM events WHERE {} AND {} AND has_player = 1{} GROUP BY user_id ORDER BY "
      "user_id LIMIT {} FORMAT TabSeparated",
      kinds(filter, {"user"}), within(filter), begins, limit);
  for (const auto& fields : rowsOf(warehouse_.run(sql)))
    table.rows.push_back({fields[0], wholeIn(fields[1]), wholeIn(fields[2])});
  return table;
}

Table WarehouseEngine::firstPurchases(const Filter& filter) {
  Table table{{"days_later", "players"}, {}};
  const std::string sql = fmt::format(
      "SELECT bought - first_day AS later, count() FROM (SELECT player, min(day) AS bought FROM events WHERE {} AND {} "
      "AND has_player = 1 AND day > 0 GROUP BY player) ALL INNER JOIN (SELECT player, minIf(day, day > 0) AS first_day "
      "FROM player_days WHERE game = {} GROUP BY player) USING player WHERE first_day >= {} GROUP BY later ORDER BY "
      "later FORMAT TabSeparated",
      kinds(filter, {"business"}), within(filter), literal(filter.game), filter.from);
  for (const auto& fields : rowsOf(warehouse_.run(sql))) table.rows.push_back({wholeIn(fields[0]), wholeIn(fields[1])});
  return table;
}

// The last step of each player among those of their last second: few remain, of which the texts are compared.
Table WarehouseEngine::stopped(const Filter& filter, bool byDay) {
  const std::string where =
      fmt::format("FROM events WHERE {} AND {} AND has_player = 1", kinds(filter, {"progression"}), within(filter));
  const std::string day = byDay ? "day" : "0";
  const std::string sql = fmt::format(
      "SELECT day_of, last, count() FROM (SELECT player, {0} AS day_of, max({1}) AS last {2} AND (player, client_ts) "
      "IN "
      "(SELECT player, max(client_ts) {2} GROUP BY player, {0}) GROUP BY player, day_of) GROUP BY day_of, last FORMAT "
      "TabSeparated",
      day, stepText(), where);
  Stopped stopped(byDay);
  for (const auto& fields : rowsOf(warehouse_.run(sql)))
    stopped.add(wholeIn(fields[0]), stepOf(fields[1]), wholeIn(fields[2]));
  return stopped.table();
}

}  // namespace collector

// Who was there, and when: see WarehouseEngine.h.
#include <fmt/format.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/questions/GroupSquares.h"
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

// Players first seen anywhere on one of the days, each with that day, if the segment counts it among theirs: day 0 is
// that of records without a time.
std::string newPlayers(const Filter& filter) {
  const std::string inSegment = "1" + conditions(filter.segment);
  return fmt::format(
      "(SELECT player, minIf(day, day > 0) AS first_day FROM player_days WHERE game = {} GROUP BY player HAVING "
      "first_day >= {} AND first_day <= {} AND first_day = minIf(day, day > 0 AND {}) AND countIf({}) > 0)",
      literal(filter.game), filter.from, filter.to, inSegment, inSegment);
}

constexpr auto kLevel = "sipHash64(progression01, progression02, progression03)";

std::string progressions(const Filter& filter) {
  return fmt::format("FROM events WHERE {} AND {} AND has_player = 1", kinds(filter, {"progression"}), within(filter));
}

std::string startsAndEnds() {
  return fmt::format(
      "countIf(category = 'user'), countIf(category = 'session_end'), sumIf(intDiv(measure, {}), category = "
      "'session_end')",
      partsOf("session_end"));
}

// The reports of each player at each level, in the order in which they count: see Progress.h. Without FINAL: what came
// twice makes neither a try nor an end more.
std::string stepsAtLevels(const Filter& filter, bool byDay) {
  const std::string seconds = "intDiv(next, 4) - intDiv(one, 4)";
  return fmt::format(
      "SELECT player, {} AS day_of, {} AS level, arraySort(groupArray(client_ts * 4 + multiIf(status = 'Fail', 0, "
      "status = 'Complete', 1, 2))) AS steps, arrayFilter(try -> try >= 0, arrayMap((one, next) -> if(one % 4 = 2 AND "
      "next % 4 < 2 AND one >= {} AND {} <= {}, {}, -1), arrayPopBack(steps), arrayPopFront(steps))) AS tries, "
      "max(status = 'Complete') AS is_completed, max(client_ts * 2 + (status = 'Start')) AS end {} GROUP BY player, "
      "day_of, level",
      byDay ? "day" : "0", kLevel, 4 * kSecondsADay, seconds, kLongestTry, seconds, progressions(filter));
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
  fill(1, "SELECT first_day AS day, count() FROM " + newPlayers(filter));
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
       {"SELECT uniqExact(player) FROM player_days " + presenceOf(filter), "SELECT count() FROM " + newPlayers(filter),
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
      "SELECT first_day, day - first_day AS later, uniqExact(player) FROM player_days ALL INNER JOIN {} USING player "
      "WHERE game = {} AND day >= first_day AND day >= {} AND day <= {} GROUP BY first_day, later ORDER BY first_day, "
      "later FORMAT TabSeparated",
      newPlayers(filter), literal(filter.game), filter.from, filter.to);
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

Table WarehouseEngine::segments(const Filter& filter, const std::vector<Column>& by) {
  Table table;
  std::string texts, groups;
  for (const Column column : by) {
    table.columns.emplace_back(nameOf(column));
    texts += fmt::format("{}, ", nameOf(column));
    groups += fmt::format("{}{}", groups.empty() ? " GROUP BY " : ", ", nameOf(column));
  }
  table.columns.emplace_back("players");
  const std::string sql = fmt::format(
      "SELECT {0}uniqExact(player) AS players FROM player_days {1}{2} ORDER BY players DESC{3} LIMIT {4} "
      "FORMAT TabSeparated",
      texts, presenceOf(filter), groups, groups.empty() ? "" : ", " + groups.substr(groups.find("BY ") + 3),
      kMostRows + 1);
  for (auto& fields : rowsOf(warehouse_.run(sql))) {
    const std::int64_t players = wholeIn(fields.back());
    fields.pop_back();
    table.rows.emplace_back(fields.begin(), fields.end()).emplace_back(players);
  }
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

Table WarehouseEngine::progress(const Filter& filter, bool byDay) {
  Table table{{"progression01", "progression02", "progression03", "tries", "seconds", "stopped", "left"}, {}};
  if (byDay) table.columns.insert(table.columns.begin(), "day");
  // Levels are numbers until all is counted.
  const std::string counted = fmt::format(
      "SELECT day_of, level, sum(tried) AS tries, sum(lasted) AS seconds, sum(ended = last AND completed = 0) AS "
      "stopped, sum(ended = last AND completed = 1) AS left_behind FROM (SELECT day_of, max(end) AS last, "
      "groupArray(level) AS levels, groupArray(length(tries)) AS all_tried, groupArray(arraySum(tries)) AS all_lasted, "
      "groupArray(end) AS ends, groupArray(is_completed) AS all_completed FROM ({}) GROUP BY player, day_of) ARRAY "
      "JOIN levels AS level, all_tried AS tried, all_lasted AS lasted, ends AS ended, all_completed AS completed GROUP "
      "BY day_of, level",
      stepsAtLevels(filter, byDay));
  const std::string sql = fmt::format(
      "SELECT day_of, name01, name02, name03, tries, seconds, stopped, left_behind FROM ({}) ALL INNER JOIN (SELECT {} "
      "AS level, any(progression01) AS name01, any(progression02) AS name02, any(progression03) AS name03 {} GROUP BY "
      "level) USING level ORDER BY day_of, name01, name02, name03 FORMAT TabSeparated",
      counted, kLevel, progressions(filter));
  for (auto& fields : rowsOf(warehouse_.run(sql))) {
    auto& row = table.rows.emplace_back();
    if (byDay) row.emplace_back(wholeIn(fields[0]));
    for (std::size_t at = 1; at < 4; ++at) row.emplace_back(std::move(fields[at]));
    for (std::size_t at = 4; at < 8; ++at) row.emplace_back(wholeIn(fields[at]));
  }
  return table;
}

// A decimal has the room that squares of lengths need.
Table WarehouseEngine::squares(const Filter& filter) {
  Table table{columnsOfSquares(), {}};
  const std::string sql = fmt::format(
      "SELECT ab_id, ab_variant_id, sum(begun * begun), sum(over * over), sum(lasted * lasted), sum(over * lasted) "
      "FROM (SELECT ab_id, ab_variant_id, toDecimal128(countIf(category = 'user'), 0) AS begun, "
      "toDecimal128(countIf(category = 'session_end'), 0) AS over, "
      "toDecimal128(sumIf(intDiv(measure, {}), category = 'session_end'), 0) AS lasted {} AND has_player = 1 "
      "GROUP BY ab_id, ab_variant_id, player) GROUP BY ab_id, ab_variant_id FORMAT TabSeparated",
      partsOf("session_end"), eventsOf(filter, {"user", "session_end"}));
  for (auto& fields : rowsOf(warehouse_.run(sql))) {
    auto& row = table.rows.emplace_back(Line{std::move(fields[0]), std::move(fields[1])});
    const Line sums = Squares{wideIn(fields[2]), wideIn(fields[3]), wideIn(fields[4]), wideIn(fields[5])}.line();
    row.insert(row.end(), sums.begin(), sums.end());
  }
  return table;
}

}  // namespace collector

#include "collector/questions/GroupSquares.h"

#include <map>
#include <string_view>
#include <unordered_map>

#include "collector/archive/Sql.h"
#include "collector/questions/Selection.h"

namespace collector {

Line Squares::line() const {
  return {unitsOf(sessions, 1), unitsOf(ended, 1), unitsOf(seconds, 1), unitsOf(endedBySeconds, 1)};
}

const std::vector<std::string>& columnsOfSquares() {
  static const std::vector<std::string> all = {"ab_id",         "ab_variant_id",   "sessions_squares",
                                               "ended_squares", "seconds_squares", "ended_by_seconds"};
  return all;
}

namespace {

struct Activity {
  Wide sessions = 0, ended = 0, seconds = 0;
};
using Activities = std::unordered_map<std::int64_t, Activity>;  // by player

Squares squaresOf(const Activities& players) {
  Squares squares;
  for (const auto& [player, activity] : players) {
    const auto& [sessions, ended, seconds] = activity;
    squares.sessions += sessions * sessions;
    squares.ended += ended * ended;
    squares.seconds += seconds * seconds;
    squares.endedBySeconds += ended * seconds;
  }
  return squares;
}

}  // namespace

Table sumSquares(sqlite3* database, const Filter& filter) {
  const Selection selection(database, filter, {}, {Column::abId, Column::abVariantId});
  std::map<Texts, Activities> groups;
  std::unordered_map<std::int64_t, Activities*> bySegment;
  for (const auto& [group, segment] : selection.segments().all()) bySegment[segment] = &groups[*group];
  Statement days(database,
                 "SELECT player, segment, sessions, ended, seconds FROM player_days WHERE game = (SELECT id FROM games "
                 "WHERE key = ?) AND day BETWEEN ? AND ?");
  days.with(std::string_view(filter.game), filter.from, filter.to);
  while (days.step()) {
    const auto group = bySegment.find(days.integer(1));
    if (group == bySegment.end()) continue;
    Activity& activity = (*group->second)[days.integer(0)];
    activity.sessions += days.integer(2);
    activity.ended += days.integer(3);
    activity.seconds += days.integer(4);
  }
  Table table{columnsOfSquares(), {}};
  for (const auto& [group, players] : groups) {
    if (players.empty()) continue;
    Line& row = table.rows.emplace_back(group.begin(), group.end());
    const Line sums = squaresOf(players).line();
    row.insert(row.end(), sums.begin(), sums.end());
  }
  return table;
}

}  // namespace collector

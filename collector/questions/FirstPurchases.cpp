#include "collector/questions/FirstPurchases.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>

#include "collector/archive/Sql.h"
#include "collector/questions/Selection.h"

namespace collector {

Table countFirstPurchases(sqlite3* database, const Filter& filter) {
  std::unordered_map<std::int64_t, std::int64_t> firstOf;  // day, by player
  Selection(database, filter, {{Column::category, "business"}}).forEach([&](const Figure& figure) {
    const std::int64_t day = figure.clientTs / kSecondsADay;
    if (figure.player <= 0 || day == 0) return;
    const auto known = firstOf.try_emplace(figure.player, day).first;
    known->second = std::min(known->second, day);
  });
  Statement born(database, "SELECT first_day FROM players WHERE id = ?");
  std::map<std::int64_t, std::int64_t> players;  // by days later
  for (const auto& [player, day] : firstOf) {
    if (born.with(player).step() && born.integer(0) >= filter.from) ++players[day - born.integer(0)];
    born.reset();
  }
  Table table{{"days_later", "players"}, {}};
  for (const auto& [later, count] : players) table.rows.push_back({later, count});
  return table;
}

}  // namespace collector

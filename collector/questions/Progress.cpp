#include "collector/questions/Progress.h"

namespace collector {

Rank rankOf(std::string_view status) {
  if (status == "Complete") return Rank::complete;
  return status == "Fail" ? Rank::fail : Rank::start;
}

Table Stopped::table() const {
  Table table{{"progression01", "progression02", "progression03", "players"}, {}};
  if (byDay_) table.columns.insert(table.columns.begin(), "day");
  for (const auto& [key, players] : players_) {
    auto& row = table.rows.emplace_back();
    if (byDay_) row.emplace_back(key.first);
    row.insert(row.end(), key.second.begin(), key.second.end());
    row.emplace_back(players);
  }
  return table;
}

}  // namespace collector

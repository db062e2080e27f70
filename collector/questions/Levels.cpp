#include "collector/questions/Levels.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <string_view>
#include <variant>

namespace collector {

Table answerLevels(Engine& engine, const Filter& filter, const Own& own) {
  const Query query{.category = "progression",
                    .by = {Column::progression01, Column::progression02, Column::progression03, Column::status},
                    .byDay = isSet(own, "daily"),
                    .sums = {Sum::events, Sum::players, Sum::total}};
  const Table found = countWithin(engine, filter, query);
  const std::size_t names = query.by.size() - 1 + (query.byDay ? 1 : 0);
  struct Level {
    std::array<std::int64_t, 3> events{}, players{};  // Start, Fail, Complete
    Value score;                                      // of all completions
    std::int64_t tries = 0, seconds = 0, stopped = 0, left = 0;
  };
  std::map<Line, Level> byName;
  constexpr std::array<std::string_view, 3> kStatuses = {"Start", "Fail", "Complete"};
  for (const Line& row : found.rows) {
    Level& level = byName[Line(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(names))];
    const auto status = std::ranges::find(kStatuses, textOf(row[names])) - kStatuses.begin();
    if (status == static_cast<std::ptrdiff_t>(kStatuses.size())) continue;
    level.events[static_cast<std::size_t>(status)] = wholeOf(row[names + 1]);
    level.players[static_cast<std::size_t>(status)] = wholeOf(row[names + 2]);
    if (status == 2) level.score = row[names + 3];
  }
  for (const Line& row : engine.progress(filter, query.byDay).rows) {
    const auto level = byName.find(Line(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(names)));
    if (level == byName.end()) continue;
    std::size_t at = names;
    for (const auto count : {&Level::tries, &Level::seconds, &Level::stopped, &Level::left})
      level->second.*count = wholeOf(row[at++]);
  }
  Table table{{found.columns.begin(), found.columns.begin() + static_cast<std::ptrdiff_t>(names)}, {}, found.isCut};
  for (const char* column :
       {"starts", "fails", "completes", "players_started", "players_failed", "players_completed", "completed_share",
        "mean_score", "players_stopped", "players_left", "timed_tries", "mean_seconds"})
    table.columns.emplace_back(column);
  for (const auto& [name, level] : byName) {
    const auto& [starts, fails, completes] = level.events;
    const auto& [started, failed, completed] = level.players;
    const bool isScored = std::holds_alternative<double>(level.score);
    Line& row = table.rows.emplace_back(name);
    row.insert(row.end(),
               {starts, fails, completes, started, failed, completed,
                ratio(static_cast<double>(completed), static_cast<double>(started)),
                isScored ? ratio(numberOf(level.score), static_cast<double>(completes)) : Value(), level.stopped,
                level.left, level.tries, ratio(static_cast<double>(level.seconds), static_cast<double>(level.tries))});
  }
  return table;
}

}  // namespace collector

#include "collector/questions/PlayerCount.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collector/archive/Sql.h"
#include "collector/questions/Progress.h"
#include "collector/questions/Selection.h"

namespace collector {

namespace {

// Topics of progressions by the order in which they count within a second.
class Steps {
 public:
  explicit Steps(const Chosen& topics) {
    std::map<Step, std::vector<std::uint32_t>> sorted;
    for (const auto& [texts, topic] : topics.all())
      sorted[{{texts->at(0), texts->at(1), texts->at(2)}, rankOf(texts->at(3))}].push_back(topic);
    for (const auto& [step, ofStep] : sorted) {
      for (const std::uint32_t topic : ofStep) {
        if (topic >= places_.size()) places_.resize(topic + 1);
        places_[topic] = steps_.size();
      }
      steps_.push_back(step);
    }
  }

  [[nodiscard]] std::size_t placeOf(std::uint32_t topic) const { return places_[topic]; }
  [[nodiscard]] const Step& at(std::size_t place) const { return steps_[place]; }

 private:
  std::vector<Step> steps_;
  std::vector<std::size_t> places_;  // by topic
};

// A player's, on one day or (then as day 0) on all together.
struct DayOf {
  std::int64_t player, day;
  bool operator==(const DayOf&) const = default;
};
struct HashOfDay {
  std::size_t operator()(const DayOf& key) const noexcept {
    return static_cast<std::size_t>(key.player) * 0x9E3779B97F4A7C15 + static_cast<std::size_t>(key.day);
  }
};

}  // namespace

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

Table countStopped(sqlite3* database, const Filter& filter, bool byDay) {
  const Selection selection(database, filter, {{Column::category, "progression"}},
                            {Column::progression01, Column::progression02, Column::progression03, Column::status});
  const Steps steps(selection.topics());
  std::unordered_map<DayOf, std::pair<std::int64_t, std::size_t>, HashOfDay> last;  // time, place
  selection.forEach([&](const Figure& figure) {
    if (figure.player <= 0) return;
    const std::pair step(figure.clientTs, steps.placeOf(figure.topic));
    auto& known = last.try_emplace({figure.player, byDay ? figure.clientTs / kSecondsADay : 0}, step).first->second;
    known = std::max(known, step);
  });
  std::map<std::pair<std::int64_t, std::size_t>, std::int64_t> ends;  // players by day and place
  for (const auto& [key, step] : last) ++ends[{key.day, step.second}];
  Stopped stopped(byDay);
  for (const auto& [end, players] : ends) stopped.add(end.first, steps.at(end.second), players);
  return stopped.table();
}

}  // namespace collector

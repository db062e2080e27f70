#include "collector/questions/Progress.h"

#include <algorithm>
#include <array>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "collector/questions/Selection.h"

namespace collector {

namespace {

enum class Report : std::uint8_t { fail, complete, start };  // in the order of one second

Report reportOf(std::string_view status) {
  if (status == "Complete") return Report::complete;
  return status == "Fail" ? Report::fail : Report::start;
}

using LevelName = std::array<std::string, 3>;  // progression01 to 03

// What the topics of progressions report, with a number for each level in the order of their names.
class Levels {
 public:
  explicit Levels(const Chosen& topics) {
    std::map<LevelName, std::vector<std::pair<std::uint32_t, Report>>> sorted;
    for (const auto& [texts, topic] : topics.all())
      sorted[{texts->at(0), texts->at(1), texts->at(2)}].emplace_back(topic, reportOf(texts->at(3)));
    for (const auto& [name, reports] : sorted) {
      for (const auto& [topic, report] : reports) {
        if (topic >= byTopic_.size()) byTopic_.resize(topic + 1);
        byTopic_[topic] = {static_cast<std::uint32_t>(names_.size()), report};
      }
      names_.push_back(name);
    }
  }

  [[nodiscard]] const std::pair<std::uint32_t, Report>& of(std::uint32_t topic) const { return byTopic_[topic]; }
  [[nodiscard]] const LevelName& name(std::uint32_t level) const { return names_[level]; }

 private:
  std::vector<LevelName> names_;
  std::vector<std::pair<std::uint32_t, Report>> byTopic_;
};

struct Step {
  std::int64_t player, day;  // day 0: on all together
  std::uint32_t level;
  Report report;
  std::int64_t clientTs;

  [[nodiscard]] auto life() const { return std::tie(player, day); }
  bool operator<(const Step& other) const {
    return std::tie(player, day, level, clientTs, report) <
           std::tie(other.player, other.day, other.level, other.clientTs, other.report);
  }
};

struct Counts {
  std::int64_t tries = 0, seconds = 0, stopped = 0, left = 0;
};
using ByLevel = std::map<std::pair<std::int64_t, std::uint32_t>, Counts>;  // day and level

// Of one player at one level. What has no time of its own lasts for no time.
void countTries(std::span<const Step> steps, Counts& counts) {
  for (std::size_t at = 1; at < steps.size(); ++at) {
    const Step &from = steps[at - 1], &to = steps[at];
    const std::int64_t seconds = to.clientTs - from.clientTs;
    if (from.report != Report::start || to.report == Report::start) continue;
    if (from.clientTs < kSecondsADay || seconds > kLongestTry) continue;
    ++counts.tries;
    counts.seconds += seconds;
  }
}

// Of one player, level by level: the tries, and where the last report leaves them.
void countLife(std::span<const Step> life, ByLevel& levels) {
  using End = std::pair<std::int64_t, bool>;  // its time, and whether it is a start
  End last{-1, false};
  std::vector<std::int64_t*> counters;
  for (auto from = life.begin(); from != life.end();) {
    const auto to = std::find_if(from, life.end(), [&](const Step& step) { return step.level != from->level; });
    Counts& counts = levels[{from->day, from->level}];
    countTries({from, to}, counts);
    const End end{to[-1].clientTs, to[-1].report == Report::start};
    if (end > last) counters.clear();
    if (end >= last) {
      last = end;
      const auto isCompletion = [](const Step& step) { return step.report == Report::complete; };
      counters.push_back(std::any_of(from, to, isCompletion) ? &counts.left : &counts.stopped);
    }
    from = to;
  }
  for (std::int64_t* const counter : counters) ++*counter;
}

}  // namespace

Table countProgress(sqlite3* database, const Filter& filter, bool byDay) {
  const Selection selection(database, filter, {{Column::category, "progression"}},
                            {Column::progression01, Column::progression02, Column::progression03, Column::status});
  const Levels names(selection.topics());
  std::vector<Step> steps;
  selection.forEach([&](const Figure& figure) {
    if (figure.player <= 0) return;
    const auto& [level, report] = names.of(figure.topic);
    steps.push_back({figure.player, byDay ? figure.clientTs / kSecondsADay : 0, level, report, figure.clientTs});
  });
  std::ranges::sort(steps, std::less<>());
  ByLevel levels;
  for (auto from = steps.begin(); from != steps.end();) {
    const auto to = std::find_if(from, steps.end(), [&](const Step& step) { return step.life() != from->life(); });
    countLife({from, to}, levels);
    from = to;
  }
  Table table{{"progression01", "progression02", "progression03", "tries", "seconds", "stopped", "left"}, {}};
  if (byDay) table.columns.insert(table.columns.begin(), "day");
  for (const auto& [key, counts] : levels) {
    Line& row = table.rows.emplace_back();
    if (byDay) row.emplace_back(key.first);
    const LevelName& name = names.name(key.second);
    row.insert(row.end(), name.begin(), name.end());
    row.insert(row.end(), {counts.tries, counts.seconds, counts.stopped, counts.left});
  }
  return table;
}

}  // namespace collector

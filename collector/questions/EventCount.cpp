#include "collector/questions/EventCount.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collector/archive/Figures.h"
#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/archive/Sql.h"

namespace collector {

namespace {

using Texts = std::vector<std::string>;

bool isOf(const Combinations& combinations, Column column) {
  return std::ranges::find(combinations.columns, column) != combinations.columns.end();
}

// The texts of some combinations: those that the query groups by, of those that it asks for.
class Chosen {
 public:
  Chosen(sqlite3* database, const Combinations& combinations, const Filter& filter,
         std::map<Column, std::string> conditions, const std::vector<Column>& by) {
    std::string sql = "SELECT id", where = " WHERE game = (SELECT id FROM games WHERE key = ?1)";
    for (const Column column : by)
      if (isOf(combinations, column)) sql += fmt::format(", (SELECT text FROM names WHERE id = {})", nameOf(column));
    std::erase_if(conditions, [&](const auto& each) { return !isOf(combinations, each.first); });
    int parameter = 1;
    for (const auto& [column, text] : conditions)
      where += fmt::format(" AND {} = (SELECT id FROM names WHERE text = ?{})", nameOf(column), ++parameter);
    Statement rows(database, fmt::format("{} FROM {}{}", sql, combinations.table, where));
    rows.bind(parameter = 1, std::string_view(filter.game));
    for (const auto& each : conditions) rows.bind(++parameter, std::string_view(each.second));
    while (rows.step()) {
      const auto id = static_cast<std::size_t>(rows.integer(0));
      if (id >= byId_.size()) byId_.resize(id + 1);
      Texts& texts = texts_.emplace_back();
      byId_[id] = &texts;
      for (int column = 1; column < rows.columns(); ++column) texts.emplace_back(rows.text(column));
    }
  }

  [[nodiscard]] const Texts* find(std::uint32_t id) const { return id < byId_.size() ? byId_[id] : nullptr; }

 private:
  std::deque<Texts> texts_;
  std::vector<const Texts*> byId_;  // looked into for each event; numbers are given one after the other
};

struct Group {
  std::int64_t day = 0;
  const Texts* texts = nullptr;
  std::int64_t events = 0;
  Wide total = 0;
  std::int64_t least = std::numeric_limits<std::int64_t>::max();
  std::int64_t most = std::numeric_limits<std::int64_t>::min();
  std::vector<std::int64_t> players;  // some more than once
  std::size_t tidyAt = 1'000;         // players
  bool isMeasured = false;

  void add(std::int64_t measure) {
    isMeasured = true;
    total += measure;
    least = std::min(least, measure);
    most = std::max(most, measure);
  }
  void see(std::int64_t player) {
    if (!players.empty() && players.back() == player) return;
    players.push_back(player);
    if (players.size() == tidyAt) tidyAt = std::max(tidyAt, 2 * static_cast<std::size_t>(differentPlayers()));
  }
  std::int64_t differentPlayers() {
    std::ranges::sort(players);
    players.erase(std::unique(players.begin(), players.end()), players.end());
    return static_cast<std::int64_t>(players.size());
  }
};

class Groups {
 public:
  Groups(const Chosen& topics, const Chosen& segments, const Query& query)
      : topics_(topics), segments_(segments), byDay_(query.byDay) {
    for (const Column column : query.by) fromTopic_.push_back(isOf(kCombinations[0], column));
  }

  // Null where the topic or the segment is none of those asked for.
  Group* of(const Figure& figure) {
    if (topics_.find(figure.topic) == nullptr || segments_.find(figure.segment) == nullptr) return nullptr;
    const Key key{figure.topic, figure.segment, byDay_ ? figure.clientTs / kSecondsADay : 0};
    if (last_ != nullptr && key == lastKey_) return last_;
    const auto [known, isNew] = byKey_.try_emplace(key, nullptr);
    if (isNew) known->second = make(key);
    lastKey_ = key;
    return last_ = known->second;
  }
  std::vector<Group*> all() {
    std::vector<Group*> groups;
    for (auto& [content, group] : byContent_) groups.push_back(&group);
    return groups;
  }

 private:
  struct Key {
    std::uint32_t topic, segment;
    std::int64_t day;
    bool operator==(const Key&) const = default;
  };
  struct Hash {
    std::size_t operator()(const Key& key) const noexcept {
      constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
      auto sum = key.topic * kOdd + key.segment;
      sum = sum * kOdd + static_cast<std::uint64_t>(key.day);
      return static_cast<std::size_t>(sum ^ (sum >> 32U));
    }
  };
  using Content = std::pair<std::int64_t, Texts>;

  Group* make(const Key& key) {
    Content content{key.day, {}};
    auto nextOfTopic = topics_.find(key.topic)->begin(), nextOfSegment = segments_.find(key.segment)->begin();
    for (const bool isTopics : fromTopic_) content.second.push_back(isTopics ? *nextOfTopic++ : *nextOfSegment++);
    const auto entry = byContent_.try_emplace(std::move(content)).first;
    entry->second.day = key.day;
    entry->second.texts = &entry->first.second;
    return &entry->second;
  }

  const Chosen& topics_;
  const Chosen& segments_;
  const bool byDay_;
  std::vector<bool> fromTopic_;  // for each text of a group
  std::unordered_map<Key, Group*, Hash> byKey_;
  std::map<Content, Group> byContent_;
  Key lastKey_{};
  Group* last_ = nullptr;
};

template <class Use>
void forEachFigure(sqlite3* database, const Filter& filter, Use use) {
  const std::int64_t from = filter.from * kSecondsADay, to = filter.to * kSecondsADay + kSecondsADay - 1;
  FiguresBetween all(database, from, to);
  for (auto stretch = all.next(); !stretch.empty(); stretch = all.next())
    for (const Figure& figure : stretch)
      if (figure.clientTs >= from && figure.clientTs <= to) use(figure);
}

void count(sqlite3* database, const Filter& filter, bool withPlayers, Groups& groups) {
  forEachFigure(database, filter, [&](const Figure& figure) {
    Group* const group = groups.of(figure);
    if (group == nullptr) return;
    ++group->events;
    if (figure.measure != Figure::kNotMeasured) group->add(figure.measure);
    if (withPlayers && figure.player > 0) group->see(figure.player);
  });
}

Value valueOf(Group& group, Sum sum, std::int64_t parts) {
  if (sum == Sum::events) return group.events;
  if (sum == Sum::players) return group.differentPlayers();
  if (!group.isMeasured) return std::monostate();
  return unitsOf(sum == Sum::total ? group.total : sum == Sum::least ? group.least : group.most, parts);
}

bool comesBefore(const Group* one, const Group* other) {
  if (one->day != other->day) return one->day < other->day;
  if (one->events != other->events) return one->events > other->events;
  return *one->texts < *other->texts;
}

}  // namespace

const char* titleOf(Sum sum) {
  switch (sum) {
    case Sum::events: return "events";
    case Sum::players: return "players";
    case Sum::total: return "total";
    case Sum::least: return "least";
    case Sum::most: return "most";
  }
  return "";
}

Value unitsOf(Wide measure, std::int64_t parts) { return static_cast<double>(measure) / static_cast<double>(parts); }

Table countEvents(sqlite3* database, const Filter& filter, const Query& query) {
  auto conditions = query.where;
  if (!query.category.empty()) conditions[Column::category] = query.category;
  const Chosen topics(database, kCombinations[0], filter, conditions, query.by);
  auto segmentConditions = query.where;
  segmentConditions.insert(filter.segment.begin(), filter.segment.end());
  const Chosen segments(database, kCombinations[1], filter, segmentConditions, query.by);
  Groups groups(topics, segments, query);
  count(database, filter, std::ranges::find(query.sums, Sum::players) != query.sums.end(), groups);

  Table table;
  if (query.byDay) table.columns.emplace_back("day");
  for (const Column column : query.by) table.columns.emplace_back(nameOf(column));
  for (const Sum sum : query.sums) table.columns.emplace_back(titleOf(sum));
  auto sorted = groups.all();
  std::ranges::sort(sorted, comesBefore);
  if (sorted.size() > query.limit) sorted.resize(query.limit);
  for (Group* group : sorted) {
    auto& row = table.rows.emplace_back();
    if (query.byDay) row.emplace_back(group->day);
    for (const std::string& text : *group->texts) row.emplace_back(text);
    for (const Sum sum : query.sums) row.push_back(valueOf(*group, sum, partsOf(query.category)));
  }
  return table;
}

std::map<MeasureOfDay, std::int64_t> countMeasures(sqlite3* database, const Filter& filter, const std::string& category,
                                                   bool byDay) {
  const Chosen topics(database, kCombinations[0], filter, {{Column::category, category}}, {});
  const Chosen segments(database, kCombinations[1], filter, filter.segment, {});
  std::map<MeasureOfDay, std::int64_t> counts;
  forEachFigure(database, filter, [&](const Figure& figure) {
    if (figure.measure != Figure::kNotMeasured && topics.find(figure.topic) != nullptr &&
        segments.find(figure.segment) != nullptr)
      ++counts[{byDay ? figure.clientTs / kSecondsADay : 0, figure.measure}];
  });
  return counts;
}

}  // namespace collector

#include "collector/questions/EventCount.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/questions/Selection.h"
#include "collector/questions/Sums.h"
#include "collector/questions/Totals.h"

namespace collector {

namespace {

struct Group {
  std::int64_t day = 0;
  const Texts* texts = nullptr;
  Sums sums;
};

class Groups {
 public:
  Groups(const Selection& selection, const Query& query) : selection_(selection), byDay_(query.byDay) {
    for (const Column column : query.by) fromTopic_.push_back(isOf(kCombinations[0], column));
  }

  Group& of(const Figure& figure) {
    const Key key{figure.topic, figure.segment, byDay_ ? figure.clientTs / kSecondsADay : 0};
    if (last_ != nullptr && key == lastKey_) return *last_;
    const auto [known, isNew] = byKey_.try_emplace(key, nullptr);
    if (isNew) known->second = make(key);
    lastKey_ = key;
    last_ = known->second;
    return *last_;
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
    auto nextOfTopic = selection_.topics().find(key.topic)->begin();
    auto nextOfSegment = selection_.segments().find(key.segment)->begin();
    for (const bool isTopics : fromTopic_) content.second.push_back(isTopics ? *nextOfTopic++ : *nextOfSegment++);
    const auto entry = byContent_.try_emplace(std::move(content)).first;
    entry->second.day = key.day;
    entry->second.texts = &entry->first.second;
    return &entry->second;
  }

  const Selection& selection_;
  const bool byDay_;
  std::vector<bool> fromTopic_;  // for each text of a group
  std::unordered_map<Key, Group*, Hash> byKey_;
  std::map<Content, Group> byContent_;
  Key lastKey_{};
  Group* last_ = nullptr;
};

bool comesBefore(const Group* one, const Group* other) {
  if (one->day != other->day) return one->day < other->day;
  if (one->sums.events() != other->sums.events()) return one->sums.events() > other->sums.events();
  return *one->texts < *other->texts;
}

Conditions conditionsOf(const Query& query) {
  auto conditions = query.where;
  if (!query.category.empty()) conditions[Column::category] = query.category;
  return conditions;
}

}  // namespace

Table countEvents(sqlite3* database, const Filter& filter, const Query& query) {
  const Selection selection(database, filter, conditionsOf(query), query.by);
  Groups groups(selection, query);
  const bool withPlayers = std::ranges::find(query.sums, Sum::players) != query.sums.end();
  selection.forEach([&](const Figure& figure) {
    Sums& sums = groups.of(figure).sums;
    sums.addEvent();
    if (figure.measure != Figure::kNotMeasured) sums.addMeasure(figure.measure);
    if (withPlayers && figure.player > 0) sums.see(figure.player);
  });

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
    for (const Sum sum : query.sums) row.push_back(group->sums.of(sum, partsOf(query.category)));
  }
  return table;
}

Table countTotals(sqlite3* database, const Filter& filter, const Query& query) {
  const Selection selection(database, filter, conditionsOf(query), query.by);
  Groups groups(selection, query);
  std::map<std::pair<const Group*, std::int64_t>, Wide> totals;  // of each player
  selection.forEach([&](const Figure& figure) {
    if (figure.player > 0 && figure.measure != Figure::kNotMeasured)
      totals[{&groups.of(figure), figure.player}] += figure.measure;
  });
  Totals players;
  for (const auto& [key, total] : totals) ++players[{*key.first->texts, total}];
  return tableOf(query, players);
}

}  // namespace collector

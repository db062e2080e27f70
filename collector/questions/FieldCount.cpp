#include "collector/questions/FieldCount.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"
#include "collector/base/Json.h"
#include "collector/questions/BadQuestion.h"
#include "collector/questions/Sums.h"

namespace collector {

namespace {

std::string valueIn(const std::string& fields, const std::string& name) {
  if (fields.empty()) return "";
  const auto parsed = parseJson(fields);
  const auto* const value = parsed.document.IsObject() ? findMember(parsed.document, name) : nullptr;
  if (value == nullptr) return "";
  return value->IsString() ? std::string(textOf(*value)) : jsonText(*value);
}

using Key = std::tuple<std::int64_t, std::string, std::string>;  // day, text, value

}  // namespace

Table countByField(Engine& engine, const Filter& filter, Query query, const std::string& field) {
  query.limit = kMostWithFields;
  const auto events = engine.fields(filter, query);
  if (!events)
    throw BadQuestion(
        fmt::format("by: a field is counted of at most {} events, and there are more of this branch in this "
                    "time; ask for a smaller branch, fewer days or one build",
                    kMostWithFields));
  std::map<Key, Sums> groups;
  std::map<std::string, std::string> known;  // many events have the same fields
  for (const auto& event : *events) {
    const auto [value, isNew] = known.try_emplace(event.fields);
    if (isNew) value->second = valueIn(event.fields, field);
    Sums& sums = groups[{query.byDay ? event.day : 0, event.text, value->second}];
    sums.addEvent();
    sums.see(event.player);
    if (event.measure) sums.addMeasure(*event.measure);
  }
  std::vector<std::pair<const Key, Sums>*> sorted;
  sorted.reserve(groups.size());
  for (auto& each : groups) sorted.push_back(&each);
  std::ranges::stable_sort(
      sorted, {}, [](const auto* each) { return std::pair(std::get<0>(each->first), -each->second.events()); });
  Table table;
  if (query.byDay) table.columns.emplace_back("day");
  table.columns.emplace_back(nameOf(query.by.front()));
  table.columns.push_back("field:" + field);
  for (const Sum sum : query.sums) table.columns.emplace_back(titleOf(sum));
  for (auto* const each : sorted) {
    const auto& [day, text, value] = each->first;
    auto& row = table.rows.emplace_back();
    if (query.byDay) row.emplace_back(day);
    row.insert(row.end(), {text, value});
    for (const Sum sum : query.sums) row.push_back(each->second.of(sum, partsOf(query.category)));
  }
  return table;
}

}  // namespace collector

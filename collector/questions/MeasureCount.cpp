#include "collector/questions/MeasureCount.h"

#include <algorithm>
#include <vector>

#include "collector/archive/Measure.h"
#include "collector/questions/Histogram.h"
#include "collector/questions/Selection.h"

namespace collector {

std::map<MeasureOfDay, std::int64_t> countMeasures(sqlite3* database, const Filter& filter, const std::string& category,
                                                   bool byDay) {
  std::map<MeasureOfDay, std::int64_t> counts;
  Selection(database, filter, {{Column::category, category}}).forEach([&](const Figure& figure) {
    if (figure.measure != Figure::kNotMeasured) ++counts[{byDay ? figure.clientTs / kSecondsADay : 0, figure.measure}];
  });
  return counts;
}

Table countSpread(sqlite3* database, const Filter& filter, const Query& query) {
  auto where = query.where;
  where[Column::category] = query.category;
  std::vector<std::int64_t> measures;
  Selection(database, filter, where).forEach([&](const Figure& figure) {
    if (figure.measure != Figure::kNotMeasured) measures.push_back(figure.measure);
  });
  if (measures.empty()) return Histogram::none();
  std::ranges::sort(measures);
  const auto at = [&](double part) {
    return measures[static_cast<std::size_t>(part * static_cast<double>(measures.size()))];
  };
  const Histogram histogram({measures.front(), at(Histogram::kLow), at(Histogram::kHigh), measures.back()});
  std::vector<std::int64_t> events(histogram.bins());
  for (const std::int64_t measure : measures) ++events[histogram.binOf(measure)];
  return histogram.tableOf(events, partsOf(query.category));
}

}  // namespace collector

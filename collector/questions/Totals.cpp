#include "collector/questions/Totals.h"

#include "collector/archive/Measure.h"
#include "collector/archive/Schema.h"

namespace collector {

Table tableOf(const Query& query, const Totals& players) {
  Table table;
  for (const Column column : query.by) table.columns.emplace_back(nameOf(column));
  for (const char* column : {"total", "players"}) table.columns.emplace_back(column);
  for (const auto& [key, count] : players) {
    auto& row = table.rows.emplace_back(key.first.begin(), key.first.end());
    row.push_back(unitsOf(key.second, partsOf(query.category)));
    row.emplace_back(count);
  }
  return table;
}

}  // namespace collector

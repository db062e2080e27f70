#include "collector/questions/Refusals.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/archive/Schema.h"
#include "collector/archive/Sql.h"

namespace collector {

namespace {

// What stands in quotation marks is the record's.
std::string withoutTexts(std::string_view reason) {
  const auto first = reason.find('"'), last = reason.rfind('"');
  if (first == last) return std::string(reason);
  return fmt::format("{}\"…\"{}", reason.substr(0, first), reason.substr(last + 1));
}

struct Count {
  std::int64_t day, records;
  std::string reason;
};

std::vector<Count> countsIn(sqlite3* database, const Filter& filter, bool byDay) {
  std::map<std::pair<std::int64_t, std::string>, std::int64_t> records;
  Statement rows(
      database,
      "SELECT received_at / ?4, each.value FROM rejected, json_each(reasons) AS each WHERE game = (SELECT id "
      "FROM games WHERE key = ?1) AND received_at BETWEEN ?2 * ?4 AND ?3 * ?4 + ?4 - 1");
  for (rows.with(std::string_view(filter.game), filter.from, filter.to, kSecondsADay); rows.step();)
    ++records[{byDay ? rows.integer(0) : 0, withoutTexts(rows.text(1))}];
  std::vector<Count> counts;
  counts.reserve(records.size());
  for (const auto& [key, count] : records) counts.push_back({key.first, count, key.second});
  std::ranges::stable_sort(counts, [](const Count& one, const Count& other) {
    return std::pair(one.day, -one.records) < std::pair(other.day, -other.records);
  });
  return counts;
}

}  // namespace

Table refusals(Readers& archive, const Filter& filter, bool byDay) {
  std::vector<Count> counts;
  archive.read([&](sqlite3* database) { counts = countsIn(database, filter, byDay); });
  Table table;
  if (byDay) table.columns.emplace_back("day");
  for (const char* name : {"reason", "records"}) table.columns.emplace_back(name);
  table.isCut = counts.size() > kMostRows;
  if (table.isCut) counts.resize(kMostRows);
  for (Count& each : counts) {
    auto& row = table.rows.emplace_back();
    if (byDay) row.emplace_back(each.day);
    row.emplace_back(std::move(each.reason));
    row.emplace_back(each.records);
  }
  return table;
}

}  // namespace collector

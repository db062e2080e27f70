// Counts the archive's events by their measure.
//
// Thread: of the database.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

struct MeasureOfDay {
  std::int64_t day, measure;
  bool operator<(const MeasureOfDay& other) const {
    return std::pair(day, measure) < std::pair(other.day, other.measure);
  }
};
// How many events of a category have each measure, on each day or (then as day 0) on all together.
std::map<MeasureOfDay, std::int64_t> countMeasures(sqlite3* database, const Filter& filter, const std::string& category,
                                                   bool byDay);

// As Engine::spread().
Table countSpread(sqlite3* database, const Filter& filter, const Query& query);

}  // namespace collector

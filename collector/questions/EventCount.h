// Counts events of the archive by what they are about: of its figures, which have all that it takes. Groups are made
// here, which is several times faster than by the database.
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

// As Engine::events(). `query.by` and `query.where` name columns of topics and segments.
Table countEvents(sqlite3* database, const Filter& filter, const Query& query);

struct MeasureOfDay {
  std::int64_t day, measure;
  bool operator<(const MeasureOfDay& other) const {
    return std::pair(day, measure) < std::pair(other.day, other.measure);
  }
};
// How many events of a category have each measure, on each day or (then as day 0) on all together.
std::map<MeasureOfDay, std::int64_t> countMeasures(sqlite3* database, const Filter& filter, const std::string& category,
                                                   bool byDay);

const char* titleOf(Sum sum);  // of its column

// What a sum of measures is in their own unit. Every engine divides the same whole number.
__extension__ using Wide = __int128;
Value unitsOf(Wide measure, std::int64_t parts);

}  // namespace collector

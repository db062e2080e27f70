// How players get through levels: how long they try, and where they end.
//
//   try       from a player's start of a level to their next report of its end, at most kLongestTry later
//   stopped   players whose last report is of this level, which they have not completed
//   left      players whose last report is of this level, which they have completed: they didn't go on to another
//
// Of reports of one second the end comes before the start, since who fails often starts again at once.
//
// Thread: of the database.
#pragma once

#include <cstdint>

#include "collector/archive/Schema.h"
#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

inline constexpr std::int64_t kLongestTry = kSecondsADay;

// As Engine::progress(), of the archive.
Table countProgress(sqlite3* database, const Filter& filter, bool byDay);

}  // namespace collector

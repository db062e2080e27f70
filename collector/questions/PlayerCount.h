// Counts the archive's players by what they did first and last.
//
// Thread: of the database.
#pragma once

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

// As Engine::firstPurchases() and Engine::stopped().
Table countFirstPurchases(sqlite3* database, const Filter& filter);
Table countStopped(sqlite3* database, const Filter& filter, bool byDay);

}  // namespace collector

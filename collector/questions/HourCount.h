// Counts the archive's events by the hour.
//
// Thread: of the database.
#pragma once

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

// As Engine::hours().
Table countHours(sqlite3* database, const Filter& filter);

}  // namespace collector

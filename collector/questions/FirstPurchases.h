// When the archive's players first bought something.
//
// Thread: of the database.
#pragma once

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

// As Engine::firstPurchases().
Table countFirstPurchases(sqlite3* database, const Filter& filter);

}  // namespace collector

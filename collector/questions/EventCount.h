// Counts events of the archive by what they are about: of its figures, which have all that it takes. Groups are made
// here, which is several times faster than by the database.
//
// Thread: of the database.
#pragma once

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

// As Engine::events() and Engine::totals(). `query.by` and `query.where` name columns of topics and segments.
Table countEvents(sqlite3* database, const Filter& filter, const Query& query);
Table countTotals(sqlite3* database, const Filter& filter, const Query& query);

}  // namespace collector

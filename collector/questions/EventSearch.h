// Finds events themselves in the archive: those of a player by the index of players, others by their figures, which say
// when they were and whose.
//
// Thread: of the database.
#pragma once

#include <optional>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

// As Engine::rows() and Engine::fields().
Table findRows(sqlite3* database, const Filter& filter, const Search& search);
std::optional<std::vector<FieldsOfEvent>> findFields(sqlite3* database, const Filter& filter, const Query& query);

}  // namespace collector

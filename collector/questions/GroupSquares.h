// What each player did in a group of an experiment, squared and added up: from that comes how far a mean may be off.
//
// Thread: of the database.
#pragma once

#include <string>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Sums.h"
#include "collector/questions/Table.h"

struct sqlite3;

namespace collector {

// Of one group's players.
struct Squares {
  Wide sessions = 0, ended = 0, seconds = 0;
  Wide endedBySeconds = 0;  // no square: the one by the other

  [[nodiscard]] Line line() const;
};
const std::vector<std::string>& columnsOfSquares();

// As Engine::squares(), of the archive.
Table sumSquares(sqlite3* database, const Filter& filter);

}  // namespace collector

// What is deleted from an archive, and copies of it.
//
// Thread: of the database; functions that take a path open it themselves.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "collector/archive/Schema.h"

struct sqlite3;

namespace collector {

// Deletes what was received before `before` (seconds since 1970), of events none behind the number `last`: events and
// refused records, a step of some thousand at most. With a player's events go its days and sessions of which no event
// is left, and with the last of them the player, by the time of their arrival: clocks of games may be years ahead. What
// a player has spent stays for as long as the player. True when there is nothing left to delete.
bool pruneStep(sqlite3* database, std::int64_t before, std::int64_t last);

// Which combinations of names the events up to a number refer to.
struct Use {
  std::array<std::set<std::int64_t>, kCombinations.size()> combinations;
  std::int64_t upTo = 0;
};
// Of the events behind that number. Reads them all.
void addUse(sqlite3* database, Use& use);
// Deletes names and combinations that nothing refers to any more. What a reader has found in `use` needn't be looked
// for while others wait to write.
void pruneNames(sqlite3* database, Use use = {});

// Removes a player everywhere: also refused records that name it, as far as they were kept. How many events went.
// Their bytes are overwritten, but stand in the log until that is empty.
std::int64_t erasePlayer(sqlite3* database, std::string_view game, std::string_view userId);

// A whole copy at `target`, which must not be there, as of one moment; while others write. Throws SqlFailure.
void backUp(const std::string& path, const std::string& target);

}  // namespace collector

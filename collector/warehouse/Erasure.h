// Removes a player everywhere: at once from the archive, and then from the warehouse, as soon as it is there. What is
// still to be done stands in the archive, so it outlives kills and restarts, and any process may ask for it.
//
// Thread: any; the warehouse's part is the shipper's.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collector/archive/Store.h"
#include "collector/warehouse/ClickHouse.h"

namespace collector {

struct Erased {
  std::int64_t events = 0;  // those that the archive held
  std::int64_t number = 0;  // of this erasure, in the order of the archive's
  bool isPending = false;   // in the warehouse
  bool isInLog = false;     // of the archive, which somebody read for too long to empty it
};
// Waits up to `patience` for the warehouse, where the archive's events go to one; the collector that hands them on
// carries the rest out. Nothing where the archive can't be written. What arrives later from the player is kept.
std::optional<Erased> erase(Store& archive, const std::string& game, const std::string& userId,
                            std::chrono::milliseconds patience);

// From now on an erasure is noted for the warehouse: call it before the first events go there.
void noteErasuresFromNowOn(sqlite3* archive);

std::int64_t pendingErasures(sqlite3* archive);

// The number of the last erasure, by whichever process; 0: there was none.
std::int64_t lastErasure(Store& archive);

// One step of what is noted, while no events of this archive are on their way: asks the warehouse to remove, or sees
// that it has and takes the note away. Nothing waits, for a removal rewrites tables and may take long. `name` is the
// one that the insertions have. True while there is more to do.
bool eraseNoted(Store& archive, const ClickHouse& warehouse, std::string_view name);

}  // namespace collector

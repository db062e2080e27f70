// What there is to know of a running collector, for all forms in which it is shown.
//
// Thread: any; values, and what others count meanwhile.
#pragma once

#include <cstdint>
#include <optional>

#include "collector/Counters.h"
#include "collector/archive/Writer.h"
#include "collector/front/Tally.h"
#include "collector/visits/Visits.h"
#include "collector/warehouse/Shipper.h"

namespace collector {

struct Watched {
  const Counters& counters;
  const Visits::Numbers& visits;
  Writer::Health archive;
  std::uint64_t archiveBytes;              // of its files
  std::optional<std::uint64_t> freeBytes;  // of the disk that they are on
  std::int64_t lostLines;                  // of the log
  const front::Tally* tally;               // null without a front
  const Shipper::Lag* lag;                 // null without a warehouse
  // Since the home of the configurations last confirmed those here; absent without a home, and before it did.
  std::optional<std::int64_t> configurationsAge;
  std::int64_t since;  // the start, seconds since 1970
};

// Of the oldest event that the warehouse hasn't, in seconds.
std::int64_t ageOf(const Shipper::Lag& lag);

}  // namespace collector

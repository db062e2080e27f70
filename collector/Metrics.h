// What the collector does, as Prometheus reads it.
//
// Thread: any; a pure function.
#pragma once

#include <cstdint>
#include <string>

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
  std::uint64_t archiveBytes;  // of its files
  std::int64_t lostLines;      // of the log
  const front::Tally* tally;   // null without a front
  const Shipper::Lag* lag;     // null without a warehouse
};

std::string metricsText(const Watched& watched);

}  // namespace collector

// The truth of a run as a JSON file. Names and numbers are those of the wire protocol: money in a currency's smallest
// unit, sinks of an economy above 0, lengths in seconds, values and ad revenue as they were sent.
//
// Thread: any; pure functions.
#pragma once

#include <cstdint>
#include <string>

#include "crowd/Truth.h"
#include "crowd/Visits.h"

namespace crowd {

struct RunFacts {
  std::string gameKey;
  std::uint64_t seed = 0;
  Period period{};
  bool complete = true;             // false: it was stopped, or failed
  std::int64_t unacknowledged = 0;  // records that were sent and never answered
};

std::string truthText(const Truth& truth, const RunFacts& facts);

// "2026-11-21", of a day since 1970.
std::string dateOf(std::int64_t day);

}  // namespace crowd

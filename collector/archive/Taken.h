// What one accepted request brought: the unit that is kept whole or not at all.
//
// Lifetime: owns its body; rows and rejected records borrow from it. Not moved once rows point into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collector/records/Row.h"

namespace collector {

struct Rejected {
  std::size_t position;     // in the request's array
  std::string reasons;      // JSON, a list of texts
  std::string_view record;  // the beginning of its text
};

struct Taken {
  std::string game;                          // its key
  std::int64_t receivedAt = 0;               // seconds since 1970
  std::deque<Row> rows;                      // large, and many: never all moved at once
  std::vector<Rejected> rejected;            // the first ones
  std::map<std::string, std::size_t> notes;  // what is odd about records, and how often: the first of it
  std::string problem;                       // why nothing of the body could be taken
};

}  // namespace collector

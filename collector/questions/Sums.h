// Sums are what a question adds up of the events of one group: whole numbers throughout, so that they are exact and the
// same in any order.
//
// Thread: any; values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

namespace collector {

__extension__ using Wide = __int128;

const char* titleOf(Sum sum);  // of its column

// What a sum of measures is in their own unit. Every engine divides the same whole number.
Value unitsOf(Wide measure, std::int64_t parts);

// Different players, by numbers of any kind.
class Players {
 public:
  void see(std::int64_t player) {
    if (!all_.empty() && all_.back() == player) return;
    all_.push_back(player);
    if (all_.size() == tidyAt_) tidy();
  }
  std::int64_t count();

 private:
  void tidy();

  std::vector<std::int64_t> all_;  // some more than once
  std::size_t tidyAt_ = 1'000;
};

class Sums {
 public:
  void addEvent() { ++events_; }
  void addMeasure(std::int64_t measure) {
    ++measured_;
    total_ += measure;
    if (measure < least_) least_ = measure;
    if (measure > most_) most_ = measure;
  }
  void see(std::int64_t player) { players_.see(player); }

  [[nodiscard]] std::int64_t events() const { return events_; }
  // `parts`: of the measures' unit.
  Value of(Sum sum, std::int64_t parts);

 private:
  std::int64_t events_ = 0;
  std::int64_t measured_ = 0;
  Wide total_ = 0;
  std::int64_t least_ = std::numeric_limits<std::int64_t>::max();
  std::int64_t most_ = std::numeric_limits<std::int64_t>::min();
  Players players_;
};

}  // namespace collector

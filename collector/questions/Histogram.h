// Histogram divides measures into bins of equal width, from their first percentile to their 99th: one absurd measure
// would else leave all others in one bin. The first and the last bin reach further, so that every measure lies in one.
// Edges are whole parts, so that every engine puts a measure into the same bin.
//
// Thread: any; a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "collector/questions/Table.h"

namespace collector {

class Histogram {
 public:
  // A percentile is the measure that has n * kLow (n * kHigh) of all n before it, rounded down.
  static constexpr double kLow = 0.01, kHigh = 0.99;
  struct Range {
    std::int64_t least, low, high, most;
  };
  explicit Histogram(Range range);

  [[nodiscard]] std::size_t bins() const { return starts_.size(); }
  // Where each bin begins: it holds what isn't below that, nor in the next one. The first one begins with the least.
  [[nodiscard]] const std::vector<std::int64_t>& starts() const { return starts_; }
  [[nodiscard]] std::size_t binOf(std::int64_t measure) const;
  // low, high, events: a row a bin. `parts`: of the measures' unit.
  [[nodiscard]] Table tableOf(std::span<const std::int64_t> events, std::int64_t parts) const;
  static Table none();

 private:
  std::vector<std::int64_t> starts_;
  std::int64_t most_;
};

}  // namespace collector

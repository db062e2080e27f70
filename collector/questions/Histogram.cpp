#include "collector/questions/Histogram.h"

#include <algorithm>

#include "collector/questions/Sums.h"

namespace collector {

namespace {

constexpr Wide kMostBins = 20;

}  // namespace

Histogram::Histogram(Range range) : most_(range.most) {
  const bool isSpread = range.low < range.high;  // else nearly all are the same
  const Wide from = isSpread ? range.low : range.least, width = (isSpread ? range.high : range.most) - from;
  const Wide bins = std::clamp<Wide>(width, 1, kMostBins);
  for (Wide bin = 0; bin < bins; ++bin)
    starts_.push_back(static_cast<std::int64_t>(from + (width * bin + bins - 1) / bins));
  starts_.front() = range.least;
}

std::size_t Histogram::binOf(std::int64_t measure) const {
  return static_cast<std::size_t>(std::ranges::upper_bound(starts_, measure) - starts_.begin()) - 1;
}

Table Histogram::tableOf(std::span<const std::int64_t> events, std::int64_t parts) const {
  Table table = none();
  for (std::size_t bin = 0; bin < bins(); ++bin)
    table.rows.push_back(
        {unitsOf(starts_[bin], parts), unitsOf(bin + 1 < bins() ? starts_[bin + 1] : most_, parts), events[bin]});
  return table;
}

Table Histogram::none() { return {{"low", "high", "events"}, {}}; }

}  // namespace collector

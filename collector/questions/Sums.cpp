#include "collector/questions/Sums.h"

#include <algorithm>

namespace collector {

const char* titleOf(Sum sum) {
  switch (sum) {
    case Sum::events: return "events";
    case Sum::players: return "players";
    case Sum::valued: return "valued";
    case Sum::total: return "total";
    case Sum::least: return "least";
    case Sum::most: return "most";
  }
  return "";
}

Value unitsOf(Wide measure, std::int64_t parts) { return static_cast<double>(measure) / static_cast<double>(parts); }

std::int64_t Players::count() {
  std::ranges::sort(all_);
  all_.erase(std::unique(all_.begin(), all_.end()), all_.end());
  return static_cast<std::int64_t>(all_.size());
}

void Players::tidy() { tidyAt_ = std::max(tidyAt_, 2 * static_cast<std::size_t>(count())); }

Value Sums::of(Sum sum, std::int64_t parts) {
  if (sum == Sum::events) return events_;
  if (sum == Sum::players) return players_.count();
  if (sum == Sum::valued) return measured_;
  if (measured_ == 0) return std::monostate();
  return unitsOf(sum == Sum::total ? total_ : sum == Sum::least ? least_ : most_, parts);
}

}  // namespace collector

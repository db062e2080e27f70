#include "collector/visits/RefusedVisits.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace collector {

void RefusedVisits::add(RefusedVisit visit) {
  RefusedVisit oldest;  // goes away outside of the lock
  const std::scoped_lock lock(guard_);
  visits_.push_front(std::move(visit));
  if (visits_.size() <= kKept) return;
  oldest = std::move(visits_.back());
  visits_.pop_back();
}

std::vector<RefusedVisit> RefusedVisits::latest(std::size_t most) const {
  const std::scoped_lock lock(guard_);
  const auto end = std::next(visits_.begin(), static_cast<std::ptrdiff_t>(std::min(most, visits_.size())));
  return {visits_.begin(), end};
}

}  // namespace collector

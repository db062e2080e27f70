#include "collector/api/Tries.h"

#include <algorithm>
#include <functional>

#include "collector/front/Address.h"

namespace collector {

std::optional<std::chrono::seconds> Tries::pause(const std::string& address, std::string_view brought, bool isRight,
                                                 Clock::time_point now) {
  const auto network = front::networkOf(address);
  const std::scoped_lock lock(guard_);
  auto known = known_.find(network);
  if (known != known_.end() && now - known->second.since >= kWindow) {
    known_.erase(known);
    known = known_.end();
  }
  if (known != known_.end() && known->second.different.size() >= kMost)
    return std::chrono::ceil<std::chrono::seconds>(known->second.since + kWindow - now);
  if (isRight) return std::nullopt;
  if (known == known_.end()) {
    makeRoom(now);
    known = known_.try_emplace(network, Wrong{{}, now}).first;
  }
  known->second.different.insert(std::hash<std::string_view>()(brought));
  return std::nullopt;
}

void Tries::makeRoom(Clock::time_point now) {
  std::erase_if(known_, [&](const auto& each) { return now - each.second.since >= kWindow; });
  if (known_.size() < kKnown) return;
  known_.erase(std::ranges::min_element(known_, {}, [](const auto& each) { return each.second.since; }));
}

}  // namespace collector

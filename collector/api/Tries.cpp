#include "collector/api/Tries.h"

#include <algorithm>

#include "collector/front/Address.h"

namespace collector {

std::optional<std::chrono::seconds> Tries::take(const std::string& address, Clock::time_point now) {
  const std::scoped_lock lock(guard_);
  const auto network = front::networkOf(address);
  if (!known_.contains(network)) makeRoom(now);
  auto& wrong = known_.try_emplace(network, Wrong{0, now}).first->second;
  if (now - wrong.since >= kWindow) wrong = {0, now};
  if (wrong.times >= kMost) return std::chrono::ceil<std::chrono::seconds>(wrong.since + kWindow - now);
  ++wrong.times;
  return std::nullopt;
}

void Tries::giveBack(const std::string& address) {
  const std::scoped_lock lock(guard_);
  const auto found = known_.find(front::networkOf(address));
  if (found == known_.end()) return;
  if (--found->second.times <= 0) known_.erase(found);
}

void Tries::makeRoom(Clock::time_point now) {
  std::erase_if(known_, [&](const auto& each) { return now - each.second.since >= kWindow; });
  if (known_.size() < kKnown) return;
  known_.erase(std::ranges::min_element(known_, {}, [](const auto& each) { return each.second.since; }));
}

}  // namespace collector

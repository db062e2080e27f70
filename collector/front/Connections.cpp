#include "collector/front/Connections.h"

#include <algorithm>
#include <iterator>

#include "collector/front/Address.h"

namespace collector::front {

namespace {

constexpr auto kMayGo = std::to_array({Phase::leaving, Phase::waiting, Phase::receiving});

}  // namespace

bool Connections::join(const std::shared_ptr<Entry>& entry) {
  if (count_ >= limits_.connections && !dropOne(Ending::connections)) return false;
  auto& entries = in(entry->phase_);
  entry->place_ = entries.insert(entries.end(), entry);
  tally_.connections = ++count_;
  ++tally_.in(entry->phase_);
  return true;
}

bool Connections::attribute(Entry& entry, const std::string& address) {
  if (!entry.network_.empty()) {
    const auto counted = ofNetwork_.find(entry.network_);
    if (--counted->second == 0) ofNetwork_.erase(counted);
    entry.network_.clear();
  }
  if (address.empty()) return true;
  auto network = networkOf(address);
  const auto counted = ofNetwork_.find(network);
  if (counted != ofNetwork_.end() && counted->second >= limits_.ofOneAddress && !dropOneOf(network, Ending::address))
    return false;
  ++ofNetwork_[network];
  entry.network_ = std::move(network);
  return true;
}

void Connections::enter(Entry& entry, Phase phase, Clock::time_point deadline) {
  auto& entries = in(phase);
  entries.splice(entries.end(), in(entry.phase_), entry.place_);
  --tally_.in(entry.phase_);
  ++tally_.in(phase);
  entry.phase_ = phase;
  entry.deadline_ = deadline;
}

bool Connections::hold(Entry& entry, std::size_t bytes) {
  held_ += bytes - entry.held_;
  entry.held_ = bytes;
  bool stays = true;
  while (held_ > limits_.memory - limits_.memory / 4) {
    auto* const most = largest();
    if (most == nullptr || most->held_ == 0 || (most->held_ <= limits_.small && held_ <= limits_.memory)) break;
    if (most == &entry) stays = false;
    most->drop(Ending::memory);
  }
  tally_.memory = held_;
  return stays;
}

void Connections::leave(Entry& entry) {
  attribute(entry, {});
  held_ -= entry.held_;
  tally_.memory = held_;
  tally_.connections = --count_;
  --tally_.in(entry.phase_);
  in(entry.phase_).erase(entry.place_);  // the last: this may be all that kept it
}

void Connections::dropOverdue(Clock::time_point now) {
  for (auto& entries : phases_)
    for (auto next = entries.begin(); next != entries.end();) {
      auto& entry = **next++;
      if (entry.deadline_ <= now) entry.drop(Ending::overdue);
    }
}

void Connections::dropAll(Ending why) {
  for (const auto phase : {Phase::leaving, Phase::waiting, Phase::receiving, Phase::serving, Phase::streaming})
    drop(phase, why);
}

void Connections::drop(Phase phase, Ending why) {
  for (auto& entries = in(phase); !entries.empty();) entries.front()->drop(why);
}

bool Connections::dropOne(Ending why) { return dropOneOf({}, why); }

// Of all, when the network is empty.
bool Connections::dropOneOf(std::string_view network, Ending why) {
  for (const auto phase : kMayGo) {
    const auto& entries = in(phase);
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const std::shared_ptr<Entry>& entry) {
      return network.empty() || entry->network_ == network;
    });
    if (found == entries.end()) continue;
    (*found)->drop(why);
    return true;
  }
  return false;
}

Connections::Entry* Connections::largest() {
  Entry* most = nullptr;
  for (const auto phase : {Phase::waiting, Phase::receiving})
    for (const auto& entry : in(phase))
      if (most == nullptr || entry->held_ > most->held_) most = entry.get();
  return most;
}

}  // namespace collector::front

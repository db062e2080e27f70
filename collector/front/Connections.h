// Connections knows all that are open, what each waits for and holds, and who goes when there is no room: nothing that
// clients do makes a good one wait for them.
//
// Thread:   the front's.
// Lifetime: keeps its entries alive until they leave.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "collector/front/Limits.h"
#include "collector/front/Tally.h"

namespace collector::front {

class Connections {
 public:
  using Clock = std::chrono::steady_clock;

  class Entry {
   public:
    virtual ~Entry() = default;
    virtual void drop(Ending why) = 0;  // closes at once, unanswered, and leaves

   private:
    friend class Connections;
    std::list<std::shared_ptr<Entry>>::iterator place_;
    Phase phase_ = Phase::waiting;
    Clock::time_point deadline_;
    std::string network_;  // of the address that it counts for
    std::size_t held_ = 0;
  };

  Connections(const Limits& limits, Tally& tally) : limits_(limits), tally_(tally) {}

  // Makes room among all. False: there is none.
  bool join(const std::shared_ptr<Entry>& entry);
  // Counts it among those of that address from now on, or of none when it is empty. False: too many are being served.
  bool attribute(Entry& entry, const std::string& address);
  // It is in that phase from now on, and is dropped at the deadline.
  void enter(Entry& entry, Phase phase, Clock::time_point deadline);
  // What its request takes now. Where it is too much with that of all others, those that aren't whole go, the largest
  // first. False: so did this one.
  bool hold(Entry& entry, std::size_t bytes);
  void leave(Entry& entry);

  void dropOverdue(Clock::time_point now);
  void dropAll(Ending why);
  void drop(Phase phase, Ending why);
  bool dropOne(Ending why);  // false: there is none that may go
  [[nodiscard]] bool isEmpty() const { return count_ == 0; }

 private:
  using Entries = std::list<std::shared_ptr<Entry>>;

  bool dropOneOf(std::string_view network, Ending why);
  Entry* largest();
  Entries& in(Phase phase) { return phases_[static_cast<std::size_t>(phase)]; }

  const Limits& limits_;
  Tally& tally_;
  std::array<Entries, kPhaseNames.size()> phases_;
  std::unordered_map<std::string, std::size_t> ofNetwork_;
  std::size_t count_ = 0;
  std::size_t held_ = 0;
};

}  // namespace collector::front

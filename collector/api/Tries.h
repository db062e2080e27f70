// Tries bounds how often a client may be wrong about a secret: so many different wrong ones a minute. The same one
// again is no guess, so a program with an outdated token keeps out nobody. The memory for that is bounded as well:
// those that were wrong longest ago are forgotten.
//
// Thread: any.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace collector {

class Tries {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t kMost = 10;
  static constexpr std::chrono::seconds kWindow{60};
  static constexpr std::size_t kKnown = 1024;  // addresses

  // `brought` came from that address, and is right or not. Absent: that may be said; else it may be after so long.
  std::optional<std::chrono::seconds> pause(const std::string& address, std::string_view brought, bool isRight,
                                            Clock::time_point now);

 private:
  struct Wrong {
    std::set<std::size_t> different;  // by their hashes
    Clock::time_point since;
  };
  void makeRoom(Clock::time_point now);

  std::mutex guard_;
  std::map<std::string, Wrong> known_;  // guarded by guard_; by network
};

}  // namespace collector

// Tries bounds how often a client may be wrong about a token: so many times a minute. The memory for that is bounded as
// well: those that were wrong longest ago are forgotten.
//
// Thread: any.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace collector {

class Tries {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr int kMost = 10;
  static constexpr std::chrono::seconds kWindow{60};
  static constexpr std::size_t kKnown = 1024;  // addresses

  // Takes one of those that are left. Absent: it may try; else after how long.
  std::optional<std::chrono::seconds> take(const std::string& address, Clock::time_point now);
  // It was right: that is no try.
  void giveBack(const std::string& address);

 private:
  struct Wrong {
    int times;
    Clock::time_point since;
  };
  void makeRoom(Clock::time_point now);

  std::mutex guard_;
  std::map<std::string, Wrong> known_;  // guarded by guard_; by network
};

}  // namespace collector

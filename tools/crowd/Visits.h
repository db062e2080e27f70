// Visits is when a player comes: the day it arrives, the days it returns on, its sessions on each and their lengths.
// About 40 % return on the first day, 15 % on the seventh and 6 % on the thirtieth, by UTC day.
//
// Thread: one at a time; the functions: any.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "crowd/Random.h"

namespace crowd {

inline constexpr std::int64_t kDaySeconds = 86'400;

struct Period {
  std::int64_t from, until;  // seconds since 1970
};

struct Visit {
  std::int64_t start, seconds;
};

// When somebody `hoursFromUtc` arrives: more often on weekends and in the evening.
std::int64_t drawArrival(const Period& period, int hoursFromUtc, Random& random);
std::int64_t drawSessionSeconds(Random& random);
// Whether somebody as devoted (Person::devotion) still comes `days` after the arrival. `stay`: 1 is usual, more stays
// longer.
bool staysFor(std::int64_t days, double devotion, double stay);

class Visits {
 public:
  Visits(std::int64_t arrival, int hoursFromUtc, double devotion);

  // The next one, no earlier than `notBefore`; absent when the player is gone for good.
  std::optional<Visit> next(std::int64_t notBefore, double stay, Random& random);

 private:
  void drawDay(Random& random, std::int64_t notBefore);

  std::int64_t arrival_;
  int hoursFromUtc_;
  double devotion_;
  std::int64_t day_ = 0;              // since the arrival
  std::vector<std::int64_t> starts_;  // that are left of the day, the last one first
  bool arrived_ = false;
};

}  // namespace crowd

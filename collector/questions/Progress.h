// Where players stop: the last step of each, by level. What came in the same second counts in the order of the steps.
//
// Thread: any; values.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "collector/questions/Table.h"

namespace collector {

enum class Rank : std::uint8_t { start, fail, complete };
Rank rankOf(std::string_view status);

using LevelName = std::array<std::string, 3>;  // progression01 to 03

struct Step {
  LevelName level;
  Rank rank = Rank::start;
  bool operator<(const Step& other) const { return std::tie(level, rank) < std::tie(other.level, other.rank); }
};

// Adds up who stopped where: who has completed a level hasn't.
class Stopped {
 public:
  explicit Stopped(bool byDay) : byDay_(byDay) {}

  void add(std::int64_t day, const Step& last, std::int64_t players) {
    if (last.rank != Rank::complete) players_[{byDay_ ? day : 0, last.level}] += players;
  }
  // As Engine::stopped() has it.
  [[nodiscard]] Table table() const;

 private:
  const bool byDay_;
  std::map<std::pair<std::int64_t, LevelName>, std::int64_t> players_;
};

}  // namespace collector

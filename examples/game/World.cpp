#include "World.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace {

constexpr double kPlayerSpeed = 2, kBatSpeed = 2;  // pixels a step
constexpr double kHalfBody = 11;
constexpr int kSafeSteps = 90;

// '#' wall, 'o' coin, '^' spikes, '-' and '|' bats and the way they fly, 'P' player, 'E' exit.
constexpr std::string_view kMaps[World::kCaves] = {
    R"(
####################
#P    o      o    o#
#  ###   ##   ###  #
#  #            #  #
#     -            #
#  #    ####    #  #
#^ #    #E      #  #
#  #    ####    #  #
#            |     #
#  #            #  #
#  ###   ##   ###  #
#o    o      o    o#
####################)",

    R"(
####################
#P     #     o     #
#      #  |       ^#
# o    #     ####  #
#      #     #  #  #
####  ##  o  #E    #
#            #  #  #
#   -        ####  #
#      ^           #
#  ##     ###    o #
#  ## o     #  |   #
#o ^        #     o#
####################)",

    R"(
####################
#P #  o   ^   o #  #
#  #            # o#
#  #  ########  #  #
#   -              #
####  # |    #  ####
#o    #  E   #    o#
####  #    | #  ####
#              -   #
#  #  ##    ##  #  #
#  #     ^      #  #
#o ^ -  o  o    ^ o#
####################)",
};

// In a map: each row follows the end of a line.
std::size_t indexOf(int column, int row) { return static_cast<std::size_t>(row * (World::kColumns + 1) + column + 1); }

bool touch(Spot a, Spot b, double distance) { return std::abs(a.x - b.x) < distance && std::abs(a.y - b.y) < distance; }

}  // namespace

World::World(int cave, double hazardSpeed, bool shield) : shielded(shield), map_(kMaps[cave]) {
  const double speed = kBatSpeed * hazardSpeed;
  for (int row = 0; row < kRows; ++row)
    for (int column = 0; column < kColumns; ++column) {
      char& tile = map_[indexOf(column, row)];
      const Spot middle{(column + 0.5) * kTile, (row + 0.5) * kTile};
      if (tile == 'P') player = middle;
      else if (tile == 'o') coins.push_back(middle);
      else if (tile == '-') bats.push_back({middle, {speed, 0}});
      else if (tile == '|') bats.push_back({middle, {0, speed}});
      else continue;
      tile = ' ';
    }
}

char World::tile(int column, int row) const { return map_[indexOf(column, row)]; }

char World::tileAt(Spot at) const { return tile(static_cast<int>(at.x) / kTile, static_cast<int>(at.y) / kTile); }

int World::score() const { return 10 * found + std::max(0, 60 - seconds()); }

World::State World::step(Heading held) {
  ++steps;
  safeSteps = std::max(0, safeSteps - 1);
  walk(held);
  for (Bat& bat : bats) fly(bat);
  collect();
  if (const std::string hazard = danger(); !hazard.empty() && safeSteps == 0) {
    if (!shielded) {
      killer = hazard;
      return State::killed;
    }
    shielded = false;
    safeSteps = kSafeSteps;
  }
  const bool leaves = tileAt(player) == 'E';
  return leaves && exitIsOpen() ? State::completed : State::playing;
}

bool World::isFree(Spot at) const {
  for (const double y : {at.y - kHalfBody, at.y + kHalfBody})
    for (const double x : {at.x - kHalfBody, at.x + kHalfBody})
      if (tileAt({x, y}) == '#') return false;
  return true;
}

void World::walk(Heading held) {
  // One way after the other, so that the player slides along a wall.
  if (const Spot there{player.x + held.x * kPlayerSpeed, player.y}; isFree(there)) player = there;
  if (const Spot there{player.x, player.y + held.y * kPlayerSpeed}; isFree(there)) player = there;
}

void World::fly(Bat& bat) const {
  if (const Spot there{bat.at.x + bat.speed.x, bat.at.y + bat.speed.y}; isFree(there)) bat.at = there;
  else bat.speed = {-bat.speed.x, -bat.speed.y};
}

void World::collect() {
  found += static_cast<int>(std::erase_if(coins, [&](Spot coin) { return touch(coin, player, 20); }));
}

std::string World::danger() const {
  if (tileAt(player) == '^') return "spike";
  const bool caught = std::ranges::any_of(bats, [&](const Bat& bat) { return touch(bat.at, player, 18); });
  return caught ? "bat" : "";
}

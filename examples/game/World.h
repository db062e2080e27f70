// One cave: the rules of the game. No window, no clock, no chance: the same keys always make the same play.
#pragma once

#include <string>
#include <vector>

struct Spot {
  double x = 0, y = 0;  // pixels, the middle of what stands there
};

struct Heading {
  int x = 0, y = 0;  // -1, 0 or 1
};

// What the studio may change without an update; a cave is played by the rules in force when it was entered.
struct Rules {
  double hazardSpeed = 1;  // times the bats' own
  int coinValue = 1;       // what a coin is worth in the shop
};

struct Bat {
  Spot at, speed;
};

class World {
 public:
  static constexpr int kCaves = 3, kColumns = 20, kRows = 13, kTile = 32, kStepsPerSecond = 60;
  enum class State { playing, completed, killed };

  World(int cave, double hazardSpeed, bool shield);
  State step(Heading held);

  [[nodiscard]] char tile(int column, int row) const;  // '#' wall, '^' spikes, 'E' exit, ' ' floor
  [[nodiscard]] bool exitIsOpen() const { return coins.empty(); }
  [[nodiscard]] int seconds() const { return steps / kStepsPerSecond; }
  [[nodiscard]] int score() const;

  Spot player;
  std::vector<Bat> bats;
  std::vector<Spot> coins;  // still to be found
  int found = 0;
  int steps = 0;
  bool shielded;
  int safeSteps = 0;  // left after the shield broke
  std::string killer;

 private:
  [[nodiscard]] char tileAt(Spot at) const;
  [[nodiscard]] bool isFree(Spot at) const;
  void walk(Heading held);
  void fly(Bat& bat) const;
  void collect();
  [[nodiscard]] std::string danger() const;

  std::string map_;
};

// The game as the player goes through it: title, caves, ads, shop. What happens on the way is reported to Telemetry.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Save.h"
#include "Telemetry.h"
#include "World.h"

enum class Key { up, down, confirm, pause };

struct Choice {
  std::string text;
  std::function<void()> pick;
};

// While a page is open, the cave behind it stands still.
struct Page {
  std::string heading;
  std::vector<std::string> lines;
  std::vector<Choice> choices;
  std::size_t chosen = 0;
};

class Game {
 public:
  struct Files {
    std::string save;
    std::string receipt;
  };
  Game(Telemetry& telemetry, Files files);

  void press(Key key);
  void step(Heading held);  // a sixtieth of a second
  void pause();

  [[nodiscard]] bool hasEnded() const { return ended_; }
  [[nodiscard]] const World* world() const { return world_ ? &*world_ : nullptr; }
  [[nodiscard]] const Page* page() const { return page_ ? &*page_ : nullptr; }
  [[nodiscard]] double adShare() const;  // of the ad's length that is left, 0 when none runs
  [[nodiscard]] const Save& save() const { return save_; }
  [[nodiscard]] int lives() const { return lives_; }
  [[nodiscard]] int cave() const { return cave_ + 1; }

 private:
  void openTitle();
  void openShop();
  void startCave();
  void leaveCave();
  void die();
  void completeCave();
  void beginAd();
  void endAd();
  void buyShield();
  void buyCoinPack();
  void keep();

  Telemetry& telemetry_;
  Files files_;
  Save save_;
  Rules rules_;
  std::optional<World> world_;
  std::optional<Page> page_;
  int cave_ = 0;
  int lives_ = 0;
  int adSteps_ = 0;
  bool hard_ = false;
  bool shield_ = false;  // bought, for the next cave
  bool ended_ = false;
};

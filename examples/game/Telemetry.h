// What the game tells of its play: the one file that talks to Zorvane.
//
// Thread:   the game's main thread, which also drives the library's timers through pump().
// Lifetime: one, from the start of the game to its end.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <zorvane/ZVPlatform.h>

#include "Ticker.h"
#include "World.h"

class Telemetry {
 public:
  struct Setup {
    std::optional<ZVCollectorEndpoint> collector;  // absent: the one that the library was built for
    std::string folder;
    std::string receiptFile;
    std::string caFile;
  };
  explicit Telemetry(const Setup& setup);

  void pump();  // every frame
  [[nodiscard]] const Rules& rules() const { return rules_; }
  [[nodiscard]] const Ticker& reported() const { return reported_; }
  [[nodiscard]] bool isConnected() const { return connected_; }  // this session's rules have arrived

  void enterBackground();  // the session ends; also when the game does
  void enterForeground();  // a new one begins
  [[nodiscard]] bool isInBackground() const { return background_; }

  void chooseDifficulty(const std::string& difficulty);
  void startCave(int cave);
  void leaveCave(int cave, int score);  // given up
  void die(int cave, const World& world);
  void completeCave(int cave, int score, int coins);
  void buyShield(int coins);
  void buyCoinPack(int coins, std::int64_t cents);
  void beginAd();
  void endAd(int reward);
  void reportProblem(const std::string& what);  // no path, no name: players stay unknown

 private:
  class RulesListener;

  void readRules();

  std::shared_ptr<ZVPumpedMainLoop> loop_ = std::make_shared<ZVPumpedMainLoop>();
  std::shared_ptr<RulesListener> listener_;
  Ticker reported_;
  Rules rules_;
  bool connected_ = false;
  bool background_ = false;
  bool adRuns_ = false;
};

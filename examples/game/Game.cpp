#include "Game.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <utility>

namespace {

constexpr int kLives = 3;
constexpr double kHardSpeed = 1.5;
constexpr int kShieldCoins = 10;
constexpr int kPackCoins = 50;
constexpr std::int64_t kPackCents = 199;
constexpr int kAdSteps = 3 * World::kStepsPerSecond;
constexpr int kAdReward = 5;

// A store that takes no money, but writes the receipt that a real one would.
bool purchase(const std::string& product, const std::string& receiptFile) {
  std::ofstream receipt(receiptFile);
  receipt << "store pretended\nproduct " << product << "\ncents " << kPackCents << '\n';
  return receipt.flush().good();
}

}  // namespace

Game::Game(Telemetry& telemetry, Files files) : telemetry_(telemetry), files_(std::move(files)) {
  if (!readSave(files_.save, save_)) telemetry_.reportProblem("the save file is damaged");
  telemetry_.chooseDifficulty("easy");
  openTitle();
}

void Game::press(Key key) {
  if (!page_) {
    if (key == Key::pause) pause();
    return;
  }
  const std::size_t count = page_->choices.size();
  if (count == 0) return;
  if (key == Key::up) page_->chosen = (page_->chosen + count - 1) % count;
  if (key == Key::down) page_->chosen = (page_->chosen + 1) % count;
  if (key != Key::confirm) return;
  const auto pick = page_->choices[page_->chosen].pick;  // a copy: the page may go with what it does
  pick();
}

void Game::step(Heading held) {
  if (adSteps_ > 0 && --adSteps_ == 0) endAd();
  if (page_ || !world_) return;
  const World::State state = world_->step(held);
  shield_ = world_->shielded;
  if (state == World::State::killed) die();
  if (state == World::State::completed) completeCave();
}

double Game::adShare() const { return static_cast<double>(adSteps_) / kAdSteps; }

void Game::pause() {
  if (page_) return;
  page_ = Page{"PAUSED", {}, {{"GO ON", [this] { page_.reset(); }}, {"LEAVE THE CAVE", [this] { leaveCave(); }}}};
}

void Game::openTitle() {
  world_.reset();
  const auto play = [this] {
    cave_ = 0;
    lives_ = kLives;
    startCave();
  };
  const auto choose = [this] {
    hard_ = !hard_;
    telemetry_.chooseDifficulty(hard_ ? "hard" : "easy");
    openTitle();
    page_->chosen = 1;
  };
  page_ = Page{
      "COIN CAVE",
      {"TAKE ALL COINS, THEN FIND THE WAY OUT", "ARROWS: WALK   ESCAPE: PAUSE",
       "COINS " + std::to_string(save_.coins) + "   BEST " + std::to_string(save_.best)},
      {{"PLAY", play}, {hard_ ? "DIFFICULTY: HARD" : "DIFFICULTY: EASY", choose}, {"QUIT", [this] { ended_ = true; }}}};
}

void Game::startCave() {
  page_.reset();
  rules_ = telemetry_.rules();
  world_.emplace(cave_, rules_.hazardSpeed * (hard_ ? kHardSpeed : 1), shield_);
  telemetry_.startCave(cave());
}

void Game::leaveCave() {
  telemetry_.leaveCave(cave(), world_->score());
  openTitle();
}

void Game::die() {
  telemetry_.die(cave(), *world_);
  if (--lives_ > 0) {
    page_ = Page{"OUCH!", {"KILLED BY A " + world_->killer}, {{"TRY AGAIN", [this] { startCave(); }}}};
  } else {
    page_ = Page{"GAME OVER", {"THE CAVE KEEPS YOU"}, {{"TO THE TITLE", [this] { openTitle(); }}}};
  }
}

void Game::completeCave() {
  const int coins = world_->found * rules_.coinValue;
  telemetry_.completeCave(cave(), world_->score(), coins);
  save_.coins += coins;
  save_.best = std::max(save_.best, world_->score());
  keep();
  const std::string score = "SCORE " + std::to_string(world_->score()) + "   COINS +" + std::to_string(coins);
  if (cave_ + 1 == World::kCaves) {
    page_ = Page{"YOU ARE OUT!", {score, "THE SUN SHINES"}, {{"TO THE TITLE", [this] { openTitle(); }}}};
  } else {
    page_ = Page{"WELL DONE", {score}, {{"GO ON", [this] { beginAd(); }}}};
  }
}

void Game::beginAd() {
  adSteps_ = kAdSteps;
  telemetry_.beginAd();
  page_ = Page{"A WORD FROM OUR SPONSOR",
               {"LANTERNS! BRIGHTER THAN BATS!", "+" + std::to_string(kAdReward) + " COINS FOR WATCHING"},
               {}};
}

void Game::endAd() {
  telemetry_.endAd(kAdReward);
  save_.coins += kAdReward;
  keep();
  openShop();
}

void Game::openShop() {
  const auto next = [this] {
    ++cave_;
    startCave();
  };
  page_ = Page{"SHOP",
               {"YOU HAVE " + std::to_string(save_.coins) + " COINS", shield_ ? "AND A SHIELD" : ""},
               {{"SHIELD: " + std::to_string(kShieldCoins) + " COINS", [this] { buyShield(); }},
                {std::to_string(kPackCoins) + " COINS: $" + std::to_string(kPackCents / 100) + "." +
                     std::to_string(kPackCents % 100),
                 [this] { buyCoinPack(); }},
                {"NEXT CAVE", next}}};
}

void Game::buyShield() {
  if (shield_ || save_.coins < kShieldCoins) return;
  shield_ = true;
  save_.coins -= kShieldCoins;
  telemetry_.buyShield(kShieldCoins);
  keep();
  openShop();
}

void Game::buyCoinPack() {
  if (!purchase("coins_50", files_.receipt)) return;
  save_.coins += kPackCoins;
  telemetry_.buyCoinPack(kPackCoins, kPackCents);
  keep();
  openShop();
}

void Game::keep() {
  if (!writeSave(files_.save, save_)) telemetry_.reportProblem("the save file can not be written");
}

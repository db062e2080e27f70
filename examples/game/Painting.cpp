#include "Painting.h"

#include <chrono>
#include <string>

namespace {

using Color = Screen::Color;
constexpr Color kNight = 0x14101F, kFloor = 0x221B33, kPebble = 0x2C2442, kWall = 0x51466B, kWallTop = 0x75699A;
constexpr Color kGold = 0xFFC845, kGoldShade = 0xC98A1B, kPlayer = 0x4ED8C4, kShield = 0x8FB8FF, kBat = 0xE0526B;
constexpr Color kBatWing = 0x9C3350, kSteel = 0xB9C0D4, kOpen = 0x7BE07B, kShut = 0x3A3350, kWords = 0xEDE6FF;
constexpr Color kQuiet = 0x9A8FBF, kVeil = 0xC814101F;
constexpr int kHud = Screen::kHeight - World::kRows * World::kTile;
constexpr int kTile = World::kTile;

void paintTile(const World& world, int column, int row, Screen& screen) {
  const double x = column * kTile, y = kHud + row * kTile;
  const char tile = world.tile(column, row);
  screen.fill(x, y, kTile, kTile, tile == '#' ? kWall : kFloor);
  if (tile == '#' && row > 0 && world.tile(column, row - 1) == '#') return;
  if (tile == '#') screen.fill(x, y, kTile, 6, kWallTop);
  if (tile == ' ' && (column * 7 + row * 5) % 6 == 0) screen.fill(x + 9, y + 19, 6, 3, kPebble);
  if (tile == '^')
    for (int spike = 0; spike < 3; ++spike)
      for (int height = 0; height < 8; ++height)
        screen.fill(x + 3 + spike * 9 + height / 2, y + 26 - 2 * height, 8 - height, 2, kSteel);
  if (tile != 'E') return;
  screen.fill(x + 5, y + 2, 22, 30, kNight);
  screen.fill(x + 8, y + 5, 16, 27, world.exitIsOpen() ? kOpen : kShut);
  screen.fill(x + 19, y + 18, 3, 3, kGold);
}

void paintCoin(Spot at, int steps, Screen& screen) {
  constexpr int kWidths[] = {14, 10, 4, 10};  // it turns
  const int width = kWidths[steps / 8 % 4];
  screen.fill(at.x - width / 2.0, kHud + at.y - 7, width, 14, kGoldShade);
  screen.fill(at.x - width / 2.0, kHud + at.y - 7, width - 2, 12, kGold);
}

void paintBat(Spot at, int steps, Screen& screen) {
  const double flap = steps / 6 % 2 == 0 ? -8 : 2;
  screen.fill(at.x - 15, kHud + at.y + flap, 11, 6, kBatWing);
  screen.fill(at.x + 4, kHud + at.y + flap, 11, 6, kBatWing);
  screen.fill(at.x - 7, kHud + at.y - 6, 14, 13, kBat);
  for (const double eye : {-4, 2}) screen.fill(at.x + eye, kHud + at.y - 3, 3, 3, kWords);
}

void paintPlayer(const World& world, Screen& screen) {
  const double x = world.player.x, y = kHud + world.player.y;
  if (world.safeSteps / 5 % 2 == 1) return;  // it blinks
  if (world.shielded) screen.fill(x - 14, y - 14, 28, 28, kShield);
  if (world.shielded) screen.fill(x - 12, y - 12, 24, 24, kFloor);
  screen.fill(x - 10, y - 10, 20, 20, kPlayer);
  for (const double eye : {-6, 2}) screen.fill(x + eye, y - 5, 4, 6, kNight);
  screen.fill(x - 5, y + 4, 10, 2, kNight);
}

void paintWorld(const World& world, Screen& screen) {
  for (int row = 0; row < World::kRows; ++row)
    for (int column = 0; column < World::kColumns; ++column) paintTile(world, column, row, screen);
  for (const Spot coin : world.coins) paintCoin(coin, world.steps, screen);
  for (const Bat& bat : world.bats) paintBat(bat.at, world.steps, screen);
  paintPlayer(world, screen);
}

void paintHud(const Game& game, const World& world, Screen& screen) {
  const auto show = [&](double x, const char* name, Color color, const std::string& value) {
    screen.text(x, 14, 2, kQuiet, name);
    screen.text(x, 36, 2, color, value);
  };
  show(16, "CAVE", kWords, std::to_string(game.cave()) + " / " + std::to_string(World::kCaves));
  show(150, "LIVES", kBat, std::string(static_cast<std::size_t>(game.lives()), '*'));
  show(290, "COINS", kGold, std::to_string(world.found) + " + " + std::to_string(game.save().coins));
  show(440, "TO FIND", kWords, std::to_string(world.coins.size()));
  show(560, "SCORE", kWords, std::to_string(world.score()));
}

void paintPage(const Page& page, double adShare, Screen& screen) {
  screen.fill(0, 0, Screen::kWidth, Screen::kHeight, kVeil);
  screen.centered(84, page.heading.size() > 12 ? 4 : 7, kGold, page.heading);
  double y = 170;
  for (const std::string& line : page.lines) screen.centered(y, 2, kWords, line), y += 28;
  y += 22;
  for (std::size_t i = 0; i < page.choices.size(); ++i, y += 40) {
    const bool chosen = i == page.chosen;
    if (chosen) screen.fill(130, y - 9, 380, 38, kWall);
    screen.text(150, y, 3, chosen ? kGold : kQuiet, (chosen ? "> " : "  ") + page.choices[i].text);
  }
  if (adShare <= 0) return;
  screen.fill(120, 360, 400, 14, kWall);
  screen.fill(120, 360, 400 * adShare, 14, kGold);
}

}  // namespace

void paint(const Game& game, Screen& screen) {
  screen.clear(kNight);
  if (const World* world = game.world()) {
    paintWorld(*world, screen);
    paintHud(game, *world, screen);
  }
  if (const Page* page = game.page()) paintPage(*page, game.adShare(), screen);
}

// The latest at the bottom; each is gone after some seconds.
void paint(const Ticker& reported, Screen& screen) {
  constexpr auto kShown = std::chrono::seconds(6);
  constexpr double kLine = 12;
  const auto now = std::chrono::steady_clock::now();
  double y = Screen::kHeight - kLine * static_cast<double>(reported.lines().size());
  for (const auto& [at, words] : reported.lines()) {
    if (now - at < kShown) screen.fill(4, y - 2, 6.0 * static_cast<double>(words.size() + 10) + 4, kLine, kVeil);
    if (now - at < kShown) screen.text(6, y, 1, kOpen, "reported: " + words);
    y += kLine;
  }
}

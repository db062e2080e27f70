#include "crowd/World.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace crowd {

namespace {

constexpr auto kBuilds = std::to_array<Build>({
    {"1.0.0", "100", 0.0, 0.001, 1.0},
    {"1.1.0", "110", 0.3, 0.0015, 1.05},
    {"1.2.0", "120", 0.6, 0.02, 0.85},  // the one that crashes
    {"1.2.1", "121", 0.75, 0.001, 1.1},
});

constexpr auto kPlatforms = std::to_array<Platform>({
    {"ios", "apple", "ios 17.2", "unity 2022.3.1", {"iPhone14,5", "iPad13,1"}, 0.35},
    {"android", "google", "android 14", "unity 2022.3.1", {"Pixel 8", "Pixel 6a"}, 0.45},
    {"windows", "microsoft", "windows 11", "unreal 5.3.2", {"x86_64", "unknown"}, 0.14},
    {"linux", "valve", "linux 6.1", "", {"Jupiter", "x86_64"}, 0.06},
});

constexpr auto kCountries = std::to_array<Country>({
    {"USD", -6, 1, 0.45},
    {"EUR", 1, 0.9, 0.3},
    {"JPY", 9, 1.5, 0.15},  // a yen is its smallest unit
    {"GBP", 0, 0.8, 0.1},
});

constexpr auto kGoods = std::to_array<Good>({
    {"gems", "pouch", 99, 20, 0.5},
    {"gems", "chest", 499, 120, 0.25},
    {"gems", "vault", 9999, 3000, 0.02},
    {"offer", "starter_pack", 299, 80, 0.15},
    {"skin", "night_rider", 799, 0, 0.08},
});

constexpr auto kSinks = std::to_array<Sink>({
    {kGold, "upgrade", "sword", 60, 0.4},
    {kGold, "upgrade", "shield", 45, 0.3},
    {kGold, "booster", "double_jump", 25, 0.3},
    {kGems, "booster", "time_freeze", 5, 0.3},
    {kGems, "chest", "silver", 12, 0.2},
});

constexpr auto kNetworks = std::to_array<Network>({
    {"admob", "22.6.0", 0.04, 34, 0.4},
    {"max", "12.1", 0.06, 45, 0.3},
    {"ironsource", "7.5.2", 0.1, 28, 0.2},
    {"fyber", "8.2.5.1", 0.25, 20, 0.1},
});

constexpr auto kClicks = std::to_array<Click>({
    {"pause", 0, 0.15},
    {"ui:shop", 0, 0.15},
    {"ui:shop:open", 8, 0.15},
    {"ui:settings:sound:off", 0, 0.05},
    {"ui:settings:sound:on", 0, 0.04},
    {"fight:castle:boss:phase_1:hits", 120, 0.12},
    {"fight:castle:boss:phase_2:hits", 160, 0.08},
    {"fight:forest:wolf:bite", 40, 0.1},
    {"social:invite", 12, 0.06},
    {"performance:frame_time", 200, 0.1},
});

constexpr auto kTroubles = std::to_array<Trouble>({
    {"debug", "cache miss: icons/atlas_2", 0.2},
    {"info", "the save was made by an older build", 0.15},
    {"warning", "a frame took longer than 100 ms", 0.35},
    {"error", "the shop's prices could not be loaded: \"time out\" after 10 s", 0.25},
    {"critical", "the save is damaged: C:\\saves\\slot1.dat", 0.05},
});

constexpr auto kRefusals = std::to_array<Refused>({
    {"design", "invalid_event_id_length", "event_id", "one:part:too:many:in:here", 0.6},
    {"business", "invalid_currency", "currency", "usd", 0.3},
    {"progression", "wrong_progression_order", "", "", 0.1},
});

constexpr auto kAdFailures = std::to_array<std::string_view>(
    {"no_fill", "no_fill", "offline", "internal_error", "unable_to_precache", "unknown", "invalid_request"});

constexpr auto kHours =
    std::to_array<double>({3, 2, 1, 1, 1, 1, 2, 4, 5, 5, 5, 5, 6, 6, 5, 5, 6, 7, 9, 11, 12, 11, 8, 5});

constexpr auto kWorlds = std::to_array<std::string_view>({"meadow", "forest", "castle", "summit"});
constexpr int kLevelsOfAWorld = 10;

// It gets harder; a boss ends every world, and two levels are harder than they should be.
double passOf(std::size_t world, int level) {
  const auto number = static_cast<int>(world) * kLevelsOfAWorld + level;
  if (number == 7 || number == 24) return 0.25;
  const double pass = std::max(0.35, 0.92 - 0.014 * number);
  return level == kLevelsOfAWorld ? pass - 0.12 : pass;
}

std::vector<Level> allLevels() {
  std::vector<Level> all{{"tutorial", 0.95}};
  for (std::size_t world = 0; world < kWorlds.size(); ++world)
    for (int level = 1; level <= kLevelsOfAWorld; ++level)
      all.push_back({fmt::format("{}:level_{:02}{}", kWorlds[world], level, level == kLevelsOfAWorld ? ":boss" : ""),
                     passOf(world, level)});
  return all;
}

struct Place {
  std::string_view exception, reason;
  std::array<std::string_view, 3> frames;
};

constexpr std::array<Place, kCrashPlaces> kPlaces = {{
    {"std::out_of_range",
     "vector::_M_range_check: __n (which is 12) >= this->size() (which is 12)",
     {"game::Inventory::slot(unsigned long)", "game::Shop::show()", "main"}},
    {"std::bad_alloc", "std::bad_alloc", {"game::Atlas::load(std::string const&)", "game::Level::enter()", "main"}},
    {"game::SaveError",
     "slot1.dat: the checksum is wrong",
     {"game::Save::read(std::filesystem::path const&)", "game::Profile::restore()", "main"}},
}};

}  // namespace

std::span<const Build> builds() { return kBuilds; }
std::span<const Platform> platforms() { return kPlatforms; }
std::span<const Country> countries() { return kCountries; }
std::span<const Good> goods() { return kGoods; }
std::span<const Sink> sinks() { return kSinks; }
std::span<const Network> networks() { return kNetworks; }
std::span<const Click> clicks() { return kClicks; }
std::span<const Trouble> troubles() { return kTroubles; }
std::span<const Refused> refusals() { return kRefusals; }
std::span<const std::string_view> adFailures() { return kAdFailures; }
std::span<const double> hours() { return kHours; }

std::span<const Level> levels() {
  static const std::vector<Level> all = allLevels();
  return all;
}

std::string crashText(const Build& build, std::size_t place) {
  const Place& where = kPlaces[place];
  auto text = fmt::format(
      "game version {} build {}\nUncaught Exception\nException Name: {}\nException Reason: {}\n"
      "Stack trace:\n",
      build.name, build.number, where.exception, where.reason);
  std::size_t index = 0;
  for (const auto frame : where.frames) {
    const auto offset = 0x1a2b + 0x340 * (index + place * 7);
    text += fmt::format("{:4} - game({}+0x{:x}) [0x{:x}]\n", index++, frame, offset, 0x7f0c8a030000U + offset);
  }
  return text;
}

}  // namespace crowd

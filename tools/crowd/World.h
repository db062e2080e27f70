// World is the game that the crowd plays and the people it finds: builds, devices, levels, goods, ads, texts. All of it
// tables: another level or network is a row.
//
// Thread: any; constants.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace crowd {

struct Build {
  std::string_view name;
  std::string_view number;
  double released;  // share of the history that is over by then
  double crash;     // probability, each round played
  double stay;      // how much longer players stay with it
};

struct Platform {
  std::string_view name, manufacturer, osVersion, engine;  // no engine: ""
  std::array<std::string_view, 2> devices;
  double weight;
};

struct Country {
  std::string_view currency;
  int hoursFromUtc;
  double perDollar;  // the currency's smallest unit for a cent
  double weight;
};

struct Level {
  std::string path;  // one to three parts
  double pass;       // probability that an average player passes it at the first try
};

struct Good {  // for money
  std::string_view itemType, itemId;
  std::int64_t cents;
  std::int64_t gems;
  double weight;
};

struct Sink {  // for coins of the game
  std::string_view currency, itemType, itemId;
  std::int64_t price;
  double weight;
};

struct Network {
  std::string_view name, version;
  double fails;    // share of shows
  double revenue;  // mean of an impression, in kRevenueUnit
  double weight;
};

struct Click {  // a design event's id, and the largest value that comes with it; none: 0
  std::string_view id;
  std::int64_t most;
  double weight;
};

struct Trouble {  // an error that the game reports itself
  std::string_view severity, message;
  double weight;
};

struct Refused {  // an argument that the library refuses
  std::string_view area, action, parameter, reason;
  double weight;
};

// Values of design events and revenue of impressions are multiples of these: sums of them are exact in a double,
// whatever the order in which a collector adds them.
inline constexpr double kValueUnit = 0.25;
inline constexpr double kRevenueUnit = 1.0 / 4096;

inline constexpr std::string_view kGold = "gold";  // its rewards grow with the levels and its prices don't
inline constexpr std::string_view kGems = "gems";  // in balance

std::span<const Build> builds();
std::span<const Platform> platforms();
std::span<const Country> countries();
std::span<const Level> levels();
std::span<const Good> goods();
std::span<const Sink> sinks();
std::span<const Network> networks();
std::span<const Click> clicks();
std::span<const Trouble> troubles();
std::span<const Refused> refusals();
std::span<const std::string_view> adFailures();
std::span<const double> hours();  // how many play at each hour of their day

// The text of a crash in `build`: always the same of a build and a place, of which there are three.
std::string crashText(const Build& build, std::size_t place);
inline constexpr std::size_t kCrashPlaces = 3;

}  // namespace crowd

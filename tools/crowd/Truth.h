// Truth is what a run really played, counted from the records that the collector has acknowledged, each of them once:
// what its answers can be compared with. Days are UTC days of the records' own times.
//
//   players     different players with a record; SDK errors have no player
//   new         those with the session start of an installation
//   sessions    session starts; ended, seconds: session ends and their lengths
//   returned    of those who were new on a day: how many have a record so many days later, the day itself first
//
// Thread: one at a time; each thread counts into its own, and they are added in the end.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "crowd/Record.h"

namespace crowd {

// Different numbers, kept small by leaving out the repetitions that come in a row.
class Distinct {
 public:
  void add(std::uint32_t number);
  Distinct& operator+=(const Distinct& other);
  [[nodiscard]] std::vector<std::uint32_t> sorted() const;
  [[nodiscard]] std::size_t count() const { return sorted().size(); }

 private:
  std::vector<std::uint32_t> numbers_;
};

struct Sum {
  std::int64_t count = 0, amount = 0;
  void add(std::int64_t value);
  Sum& operator+=(const Sum& other);
};

struct Flow {
  Sum source, sink;
  Flow& operator+=(const Flow& other);
};

// The measures that are taken of everything, of each day, build, platform, group and dimension.
struct Slice {
  Distinct players, payers;
  std::int64_t events = 0, newPlayers = 0, sessions = 0, errors = 0, crashes = 0, adsShown = 0;
  std::int64_t starts = 0, completes = 0, fails = 0;
  Sum lengths;                          // seconds of sessions that ended
  std::map<std::string, Sum> revenue;   // by currency, in its smallest unit
  std::map<std::string, Flow> economy;  // by currency of the game
  Sum impressions;                      // revenue in kRevenueUnit
  Slice& operator+=(const Slice& other);
};

struct LevelTruth {
  std::int64_t starts = 0, completes = 0, fails = 0;
  Sum attempts, scores;  // of completes; of whatever has one
  Distinct starters, completers;
  LevelTruth& operator+=(const LevelTruth& other);
};

struct ErrorTruth {
  std::int64_t count = 0;
  Distinct players;
  ErrorTruth& operator+=(const ErrorTruth& other);
};

// A report on a level: of one second what ends it comes before another start.
struct Reached {
  std::int64_t time = 0;
  Status status = Status::start;
  [[nodiscard]] auto order() const { return std::make_pair(time, status == Status::start); }
};

struct Activity {
  std::int64_t sessions = 0, ended = 0, seconds = 0;
  Activity& operator+=(const Activity& other);
};

// What one player did first, and at each level, and paid.
struct LifeTruth {
  std::optional<std::int64_t> bought;                                // the first day
  std::map<std::pair<std::string, std::string>, std::int64_t> paid;  // by A/B group and currency
  std::map<std::string, Activity> groups;                            // by A/B group
  std::map<std::string, std::vector<Reached>> levels;                // by path
  LifeTruth& operator+=(const LifeTruth& other);
};

struct HourTruth {
  Distinct players;
  std::int64_t sessions = 0, events = 0;
  HourTruth& operator+=(const HourTruth& other);
};

struct AdTruth {
  std::map<std::string, std::int64_t> actions, failures;
  Sum milliseconds;
  AdTruth& operator+=(const AdTruth& other);
};

struct Truth {
  using Pair = std::pair<std::string, std::string>;

  Slice all;
  std::map<std::int64_t, Slice> days;  // since 1970
  std::map<std::string, Slice> builds, platforms, groups;
  std::map<Pair, Slice> dimensions;                                    // its number and its value
  std::map<std::pair<std::string, std::int64_t>, Distinct> buildDays;  // players by build and day
  std::map<std::string, std::int64_t> categories;
  std::map<std::string, LevelTruth> levels;                     // by path
  std::map<Pair, Sum> items;                                    // bought: currency, event id
  std::map<Pair, Flow> goods;                                   // earned and spent: currency, "itemType:itemId"
  std::map<std::string, std::pair<std::int64_t, Sum>> designs;  // by event id: all, and the values in kValueUnit
  std::map<Pair, ErrorTruth> errors;                            // severity, message
  std::map<Pair, AdTruth> ads;                                  // network, type
  std::map<std::string, Sum> impressions;                       // by network, in kRevenueUnit
  std::map<std::string, std::int64_t> sdkErrors;                // by action
  std::map<std::uint32_t, std::int64_t> installed;              // the day, by player
  std::map<std::uint32_t, LifeTruth> lives;
  std::map<std::int64_t, HourTruth> hours;  // since 1970

  void count(const Record& record);
  Truth& operator+=(const Truth& other);
};

}  // namespace crowd

// Visits gets every request that is over: it writes the log's line, counts, and keeps what was refused.
//
// Thread:   note() the front's; the rest any.
// Lifetime: longer than the front; shorter than the log.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "collector/base/Log.h"
#include "collector/front/Settings.h"
#include "collector/visits/RefusedVisits.h"

namespace collector {

class Visits {
 public:
  struct Settings {
    bool isQuiet = false;         // no lines
    bool wholeAddresses = false;  // or without what tells one client from its neighbours
    // The known game that a request is for, or "".
    std::function<std::string(const front::Visit& visit)> gameOf;
  };
  struct Numbers {
    static constexpr std::array<int, 9> kBuckets = {1, 3, 10, 30, 100, 300, 1'000, 3'000, 10'000};  // milliseconds

    std::array<std::atomic<std::int64_t>, 6> byClass{};  // of the status; first those that got no answer
    // Of what games sent and got an answer to; behind the buckets' those that took longer.
    std::array<std::atomic<std::int64_t>, kBuckets.size() + 1> took{};
    std::atomic<std::int64_t> microseconds{0};  // of them all
  };

  Visits(Settings settings, Log& log) : settings_(std::move(settings)), log_(log) {}

  void note(const front::Visit& visit);
  [[nodiscard]] const Numbers& numbers() const { return numbers_; }
  [[nodiscard]] const RefusedVisits& refused() const { return refused_; }

 private:
  void count(const front::Visit& visit, bool isOfGame);

  const Settings settings_;
  Log& log_;
  Numbers numbers_;
  RefusedVisits refused_;
};

}  // namespace collector

// History plays a population's days of the past, as fast as the collector takes them: session after session by their
// times, those of different players at once.
//
// Thread:   run() uses threads of its own, one a connection, and returns when they are done.
// Lifetime: the players that still come at its end are handed on.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

#include "crowd/Run.h"
#include "crowd/Settings.h"
#include "crowd/Truth.h"

namespace crowd {

class History {
 public:
  History(const Settings& settings, Run& run);

  void run(Truth& truth);
  // Those who would have come again after the period.
  std::vector<std::unique_ptr<Player>> takePlayers() { return std::move(staying_); }

 private:
  struct Turn {
    std::int64_t start;
    std::uint32_t player;
    std::int64_t seconds;  // kArrives: the player's first, whose length it draws itself
    bool operator>(const Turn& other) const { return std::pair(start, player) > std::pair(other.start, other.player); }
  };

  void work(Truth& truth);
  std::optional<std::pair<Turn, std::unique_ptr<Player>>> take();
  bool play(Player& player, const Visit& visit, Delivery& delivery, Truth& truth);
  void giveBack(std::unique_ptr<Player> player, std::optional<Visit> next);

  const Settings& settings_;
  Run& run_;
  std::mutex guard_;
  std::condition_variable changed_;
  std::priority_queue<Turn, std::vector<Turn>, std::greater<>> turns_;  // guarded by guard_, as the rest
  std::map<std::uint32_t, std::unique_ptr<Player>> waiting_;            // with a turn to come, but for arrivals
  std::vector<std::unique_ptr<Player>> staying_;
  std::size_t playing_ = 0;
};

}  // namespace crowd

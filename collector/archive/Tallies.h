// What a transaction's events add to the small tables: added up first, written once.
//
// Thread:   the writer's.
// Lifetime: of its database; empty between transactions.
#pragma once

#include <cstdint>
#include <optional>
#include <tuple>
#include <vector>

#include "collector/archive/Sql.h"
#include "collector/archive/Uuid.h"
#include "collector/records/Row.h"

namespace collector {

// An event that was not there before, with the numbers of what it refers to.
struct NewEvent {
  std::int64_t game, player, segment, day, clientTs;
  std::optional<Uuid> session;  // absent before the first one
  std::optional<std::int64_t> measure;
  const Row& row;
};

class Tallies {
 public:
  explicit Tallies(sqlite3* database);

  void add(const NewEvent& event);
  void addPurchase(const NewEvent& event, std::int64_t currency);
  void write();
  void forget();

 private:
  // Each kind has a key and what adds up under it. They come in runs, so one is added to the last before it is kept.
  struct Presence {
    std::int64_t player, firstDay, lastDay;
    [[nodiscard]] auto key() const { return player; }
    void add(const Presence& other);
  };
  struct Activity {
    std::int64_t game, day, player, segment, events = 1, sessions = 0, ended = 0, seconds = 0;
    [[nodiscard]] auto key() const { return std::tie(game, day, player, segment); }
    void add(const Activity& other);
  };
  struct Spending {
    std::int64_t player, currency, purchases, amount, firstDay;
    [[nodiscard]] auto key() const { return std::tie(player, currency); }
    void add(const Spending& other);
  };
  struct Session {
    std::int64_t player;
    Uuid session;
    std::int64_t segment, first, last, events = 1;
    std::optional<std::int64_t> length;
    [[nodiscard]] auto key() const { return std::tie(player, session); }
    void add(const Session& other);
  };

  std::vector<Presence> players_;
  std::vector<Activity> days_;
  std::vector<Spending> spending_;
  std::vector<Session> sessions_;
  Statement widenPlayer_;
  Statement addDay_;
  Statement addSpending_;
  Statement addSession_;
};

}  // namespace collector

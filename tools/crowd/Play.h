// Play is one session of one player: the levels it tries, what it earns, spends and buys, the ads it sees and what goes
// wrong.
//
// Thread:   one at a time.
// Lifetime: within the session's call; what it borrows outlives it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "crowd/Person.h"
#include "crowd/Random.h"
#include "crowd/Record.h"
#include "crowd/Visits.h"

namespace crowd {

// How far a player has come, from session to session.
struct Standing {
  std::size_t level = 0;
  std::int64_t tries = 0;  // of that level, that ended
  std::int64_t gold = 80, gems = 6;
  std::int64_t sessions = 0, purchases = 0;
};

class Play {
 public:
  struct Outcome {
    Records records;                  // by time
    std::optional<Record> missedEnd;  // of a session that crashed: the next run reports it
    bool gaveUp = false;              // a level was too hard: the player doesn't come again
  };

  // `easier`: the levels are, as in the experiment's better variant.
  Play(const Person& person, const Build& build, Standing& standing, bool easier, std::shared_ptr<const Common> common,
       Random& random)
      : person_(person),
        build_(build),
        standing_(standing),
        easier_(easier),
        common_(std::move(common)),
        random_(random) {}

  Outcome run(const Visit& visit);

 private:
  void playRound();
  void pass(const Level& level);
  void fail(const Level& level);
  void click();
  void buy();
  void earn(std::string_view currency, std::string_view itemType, std::string_view itemId, std::int64_t amount);
  void spend();
  void showAd(std::string_view placement, std::string_view type);
  void crash();
  void advance(std::int64_t least, std::int64_t most);
  Record made(What what);
  void add(What what) { outcome_.records.push_back(made(std::move(what))); }

  const Person& person_;
  const Build& build_;
  Standing& standing_;
  const bool easier_;
  const std::shared_ptr<const Common> common_;
  Random& random_;
  Outcome outcome_;
  std::int64_t now_ = 0, end_ = 0;
  bool crashed_ = false;
};

}  // namespace crowd

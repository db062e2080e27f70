// Player is one life: it arrives, plays its sessions and one day stays away. What it does follows from the seed, from
// its number and from what the collector's init answers say, and from nothing else.
//
// Thread:   one at a time.
// Lifetime: from its first session to its last.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "crowd/InitCall.h"
#include "crowd/Person.h"
#include "crowd/Play.h"
#include "crowd/Random.h"
#include "crowd/Record.h"
#include "crowd/Visits.h"

namespace crowd {

// What holds for all players of a run.
struct Rules {
  Period period{};            // builds are released as it goes by
  std::string better = "b";   // players in the variant with this name have easier levels and stay longer
  bool ownExperiment = true;  // where the collector assigns no variant, the crowd does
};

class Player {
 public:
  Player(std::uint64_t seed, std::uint32_t number, const Rules& rules);

  // When the player numbered so has its first session, without making it.
  static std::int64_t arrivalOf(std::uint64_t seed, std::uint32_t number, const Rules& rules);

  [[nodiscard]] std::uint32_t number() const { return person_.number; }

  // A session: the init call's parts first, then its records, those left over from a crash before them.
  void begin(std::int64_t start);
  [[nodiscard]] std::string initTarget(std::string_view gameKey) const { return crowd::initTarget(gameKey, configs_); }
  [[nodiscard]] std::string initBody() const { return crowd::initBody(person_, *build_, standing_.sessions); }
  // `now`: the server's clock, for configurations with a window in time.
  Records play(const Visit& visit, const InitAnswer& answer, std::int64_t now);

  // The next session of its history; absent when there is none.
  std::optional<Visit> nextVisit(std::int64_t notBefore);
  // In real time there are no days to wait: the next session comes some time, or never.
  std::int64_t liveSeconds() { return drawSessionSeconds(random_); }
  bool comesAgain() { return !gaveUp_ && random_.chance(0.8); }
  // From here on the stream is another one, so that what can't be repeated isn't taken for a repetition.
  void startLive(std::uint64_t salt) { random_ = Random(salt, person_.number); }

 private:
  [[nodiscard]] std::shared_ptr<const Common> makeCommon(std::int64_t now);
  [[nodiscard]] double stay() const;

  const Rules& rules_;
  Random random_;
  Person person_;
  Visits visits_;
  Standing standing_;
  const Build* build_ = nullptr;
  RemoteConfigs configs_;
  std::string abId_, abVariant_;
  std::optional<Record> missedEnd_;
  bool gaveUp_ = false;
};

}  // namespace crowd

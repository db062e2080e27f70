// Reception leads each request to those who answer it: reports of games to the intake and the archive, questions to the
// API. Each has threads of its own, so that no question holds up a game.
//
// Thread:   admit() and handle() from one.
// Lifetime: ends when the requests that it took are answered.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "collector/Counters.h"
#include "collector/api/Access.h"
#include "collector/api/Api.h"
#include "collector/archive/Store.h"
#include "collector/base/Log.h"
#include "collector/configs/ConfigurationStore.h"
#include "collector/front/Handler.h"
#include "collector/games/Games.h"
#include "collector/intake/Intake.h"
#include "collector/intake/Room.h"
#include "collector/live/Hub.h"

namespace collector {

class Reception final : public front::Handler {
 public:
  struct Parts {
    Store& archive;
    ConfigurationStore& configurations;
    const Games& games;
    const Api& api;
    const Access& access;
    Hub& hub;
    Counters& counters;
    Log& log;
    std::function<std::string()> metrics;  // Prometheus text
    std::function<std::string()> trouble;  // why the archive keeps nothing; "" when it does
  };
  explicit Reception(Parts parts);
  ~Reception() override;
  Reception(const Reception&) = delete;
  Reception& operator=(const Reception&) = delete;

  Admission admit(const front::Head& head) override;
  void handle(front::Request request, Done done) override;

 private:
  struct Threads;
  using Taking = std::shared_ptr<Room::Part>;
  void takeEvents(std::string game, front::Request request, Taking taking, const Done& done);
  void takeInit(std::string game, front::Request request, Taking taking, const Done& done);
  void keep(Intake::Outcome outcome, front::Response response, Taking taking, const Done& done);
  void count(const Intake::Outcome& outcome);
  [[nodiscard]] front::Response initAnswer(const Taken& taken, std::string_view target) const;
  [[nodiscard]] front::Answer others(const front::Request& request) const;

  const Parts parts_;
  const Intake intake_;
  const std::shared_ptr<Room> room_;
  std::unique_ptr<Threads> threads_;
};

}  // namespace collector

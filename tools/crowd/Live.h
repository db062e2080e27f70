// Live plays sessions in real time, as many of them as it takes for a rate of events: each starts with its init call
// and its session start, goes on with a batch every 8 s and ends with the rest, as the library sends them.
//
// Thread:   run() uses threads of its own, one a connection, and returns when the run is stopped or its time is over.
//           Sessions that are open then are ended.
// Lifetime: one run.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "crowd/Random.h"
#include "crowd/Run.h"
#include "crowd/Settings.h"
#include "crowd/Truth.h"

namespace crowd {

class Live {
 public:
  // `known`: players who have played before and come again.
  Live(const Settings& settings, Run& run, std::vector<std::unique_ptr<Player>> known);

  void run(Truth& truth);

 private:
  struct Session {
    std::unique_ptr<Player> player;
    Records records;          // that are left, by time
    std::int64_t offset = 0;  // the server's clock less ours
    std::int64_t start = 0;   // by the server's clock
  };
  struct Turn {
    std::int64_t due;  // by our clock
    std::uint64_t order;
    std::unique_ptr<Session> session;
    bool operator>(const Turn& other) const { return std::pair(due, order) > std::pair(other.due, other.order); }
  };

  void work(Truth& truth);
  std::unique_ptr<Session> take();
  std::unique_ptr<Session> newSession();
  bool begin(Session& session, Delivery& delivery, Truth& truth);
  bool sendDue(Session& session, Delivery& delivery, Truth& truth);
  void plan(const Session& session);
  void giveBack(std::unique_ptr<Session> session);
  void endAll(Delivery& delivery, Truth& truth);
  [[nodiscard]] bool ending() const;
  [[nodiscard]] bool lacksEvents();

  const Settings& settings_;
  Run& run_;
  const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
  const std::uint64_t salt_;
  std::mutex guard_;
  Random random_;  // guarded by guard_, as the rest
  std::vector<std::unique_ptr<Player>> resting_;
  std::vector<Turn> turns_;                       // a heap, the next one due in front
  std::map<std::int64_t, std::int64_t> planned_;  // events by the second in which they are due
  double due_ = 0;                                // events that were due so far
  std::size_t beginning_ = 0;                     // sessions whose events aren't planned yet
  std::uint32_t nextPlayer_;
  std::uint64_t order_ = 0;
};

}  // namespace crowd

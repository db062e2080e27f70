// Hands the archive's events on to the warehouse, in their order, at least once. The archive is the queue: an event
// counts as handed on when the warehouse has answered, and the place is kept in the archive.
//
// Thread:   one of its own; lag() from any.
// Lifetime: shorter than the archive's. At its end an insertion under way has a moment; then it is given up, and its
//           events are handed on again the next time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "collector/archive/Store.h"
#include "collector/warehouse/ClickHouse.h"

namespace collector {

class Shipper {
 public:
  struct Lag {
    std::int64_t waiting = 0;   // events, those included that were erased meanwhile
    std::int64_t oldest = 0;    // when the first of them was received, seconds since 1970; 0: none waits
    std::int64_t erasures = 0;  // that the warehouse has still to carry out
    std::string trouble;        // why it isn't going on; "" while it is
    std::int64_t handedOn = 0;  // events, since the start
  };
  struct Pace {
    std::int64_t most = 50'000;                                      // events an insertion
    std::chrono::milliseconds between = std::chrono::seconds(3);     // insertions of fewer, and steps of erasures
    std::chrono::milliseconds firstPause = std::chrono::seconds(1);  // after a failure; doubled up to
    std::chrono::milliseconds longestPause = std::chrono::seconds(30);
    std::chrono::milliseconds ending = std::chrono::seconds(2);
  };
  using Log = std::function<void(const std::string& line)>;

  Shipper(Store& archive, WarehouseAddress warehouse, Log log, Pace pace);
  ~Shipper();
  Shipper(const Shipper&) = delete;
  Shipper& operator=(const Shipper&) = delete;

  [[nodiscard]] Lag lag();

 private:
  void work();
  void prepare();
  bool handOn();  // true when there is more at once
  void eraseNoted();
  bool pause(std::chrono::milliseconds length);
  void note(std::string& known, const std::string& trouble, const char* what);

  Store& archive_;
  ClickHouse warehouse_;
  const Log log_;
  const Pace pace_;
  std::mutex guard_;
  std::condition_variable ended_;
  bool ending_ = false;         // guarded by guard_
  bool isOver_ = false;         // the same
  Lag lag_;                     // the same
  std::string erasureTrouble_;  // the shipper's thread, as what follows
  std::string name_;            // of its statements
  std::int64_t most_;           // events in the next insertion
  std::thread thread_;
};

// The number of the last event that the warehouse has; 0 for none.
std::int64_t handedOn(sqlite3* archive);

}  // namespace collector

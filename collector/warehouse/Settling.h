// Settling makes reading fast: a partition of the table of events that is one merged part holds each event once, so
// what came twice needn't be looked for in it. ClickHouse merges as it sees fit, and seldom everything; a Settler has
// it merge what is left, partition by partition.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "collector/warehouse/ClickHouse.h"

namespace collector {

// The names of the parts that hold each of their events once, and share none with another. Parts come and go; one of
// the same name holds the same.
std::set<std::string> settledParts(const ClickHouse& warehouse);

// Settles the partition to which nothing was added for the longest time, if that is long enough; false: there is none.
// Questions are right either way.
bool settleOne(const ClickHouse& warehouse, std::chrono::seconds untouched);

// Thread:   one of its own, so that hand-over doesn't wait for merging.
// Lifetime: in the end a merge under way is left to the server.
class Settler {
 public:
  explicit Settler(WarehouseAddress warehouse);
  ~Settler();
  Settler(const Settler&) = delete;
  Settler& operator=(const Settler&) = delete;

 private:
  void work();

  ClickHouse warehouse_;
  std::mutex guard_;
  std::condition_variable ended_;
  bool ending_ = false;  // guarded by guard_
  std::thread thread_;
};

}  // namespace collector

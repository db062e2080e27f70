#include "collector/warehouse/Settling.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "collector/base/Text.h"
#include "collector/warehouse/Literals.h"
#include "collector/warehouse/Tables.h"

namespace collector {

namespace {

using std::chrono::milliseconds;

constexpr auto kUntouched = std::chrono::seconds(60);
constexpr auto kBetween = milliseconds(10'000);
constexpr auto kAfterFailure = milliseconds(600'000);  // the merge may go on
// A late event has a whole partition written again, which may not become all that the server does.
constexpr int kRest = 10;

std::string partsPerPartition(const ClickHouse& warehouse, std::string_view select) {
  return fmt::format(
      "SELECT {} FROM system.parts WHERE active = 1 AND database = {} AND table = {} GROUP BY partition_id", select,
      literal(warehouse.database()), literal(kWarehouseTables[0].name));
}

}  // namespace

// One that was never merged is as it was inserted, be it with an event twice.
std::set<std::string> settledParts(const ClickHouse& warehouse) {
  const std::string answer = warehouse.run(partsPerPartition(warehouse, "any(name) AS part") +
                                           " HAVING count() = 1 AND any(level) > 0 FORMAT TabSeparated");
  std::set<std::string> names;
  for (const auto line : splitAt(answer, '\n'))
    if (!line.empty()) names.emplace(line);
  return names;
}

bool settleOne(const ClickHouse& warehouse, std::chrono::seconds untouched) {
  std::string partition = warehouse.run(
      partsPerPartition(warehouse, "partition_id") +
      fmt::format(" HAVING (count() > 1 OR any(level) = 0) AND max(modification_time) <= now() - {} ORDER BY "
                  "max(modification_time), partition_id LIMIT 1 FORMAT TabSeparated",
                  untouched.count()));
  if (partition.empty()) return false;
  partition.pop_back();
  (void)warehouse.run(
      fmt::format("OPTIMIZE TABLE {} PARTITION ID {} FINAL", kWarehouseTables[0].name, literal(partition)));
  return true;
}

Settler::Settler(WarehouseAddress warehouse) : warehouse_(std::move(warehouse)), thread_([this] { work(); }) {}

Settler::~Settler() {
  {
    const std::scoped_lock lock(guard_);
    ending_ = true;
  }
  ended_.notify_all();
  warehouse_.giveUp();
  thread_.join();
}

void Settler::work() {
  milliseconds next = kBetween;
  for (;;) {
    {
      std::unique_lock lock(guard_);
      if (ended_.wait_for(lock, next, [&] { return ending_; })) return;
    }
    const auto start = std::chrono::steady_clock::now();
    try {
      settleOne(warehouse_, kUntouched);
      const auto took = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
      next = std::max(kBetween, kRest * took);
    } catch (const WarehouseFailure&) {  // the shipper says why, where it is away
      next = kAfterFailure;
    }
  }
}

}  // namespace collector

// EventsOnce asks the warehouse about events as if each stood there once. FINAL leaves out what came twice, but merges
// whole keys in one thread; settled parts are read without it, in all threads.
//
// Thread:   any.
// Lifetime: shorter than the warehouse's.
#pragma once

#include <string>
#include <string_view>

#include "collector/warehouse/ClickHouse.h"

namespace collector {

// "FROM ... WHERE ...", each event once for which `conditions` hold; more conditions may follow. To be run by
// EventsOnce.
std::string eachOnce(std::string_view conditions);

class EventsOnce {
 public:
  explicit EventsOnce(const ClickHouse& warehouse) : warehouse_(warehouse) {}

  [[nodiscard]] std::string run(const std::string& sql) const;

 private:
  const ClickHouse& warehouse_;
};

}  // namespace collector

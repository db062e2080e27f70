// The tables of the warehouse, and a row of events as they take it.
//
//   events       one row an event. What comes twice is removed by its key, which is made of the record alone; reading
//                with FINAL never sees it twice.
//   player_days  who was there on which UTC day, in which segment; kept up by the server from what is inserted
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "collector/warehouse/ClickHouse.h"

struct sqlite3;

namespace collector {

struct WarehouseTable {
  const char* name;
  const char* time;  // the column that says when a row was received
};
inline constexpr std::array<WarehouseTable, 2> kWarehouseTables = {
    {{"events", "received_at"}, {"player_days", "seen_at"}}};

// Makes what isn't there yet.
void prepareWarehouse(const ClickHouse& warehouse);

// "INSERT INTO events(...) FORMAT TabSeparated", for rows as below.
std::string insertStatement();

struct Handover {
  std::string rows;
  std::int64_t count = 0;
  std::int64_t last = 0;  // number of the last event in it
  bool isFull = false;    // there may be more
};
// The events of the archive behind the number `after`, at most `most` of them and some 32 MiB.
Handover nextHandover(sqlite3* archive, std::int64_t after, std::int64_t most);

}  // namespace collector

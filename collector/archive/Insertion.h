// Puts what was taken into the tables, within a transaction of the caller's.
//
// Thread:   the writer's.
// Lifetime: of its database.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "collector/archive/Dictionary.h"
#include "collector/archive/Figures.h"
#include "collector/archive/Sql.h"
#include "collector/archive/Taken.h"
#include "collector/archive/Tallies.h"

namespace collector {

class Insertion {
 public:
  explicit Insertion(sqlite3* database);

  // An event that is there already is left out. How many were new.
  std::int64_t insert(const Taken& taken);
  void finish();  // before the transaction is committed
  void forget();  // after it was undone

 private:
  bool insertEvent(const Row& row, std::int64_t game, std::int64_t receivedAt);
  void insertRefusals(const Taken& taken, std::int64_t game);
  void bindColumns(const Row& row);

  sqlite3* const database_;
  Dictionary dictionary_;
  Tallies tallies_;
  Figures figures_;
  Statement event_;
  Statement rejected_;
  Statement note_;
};

}  // namespace collector

// What questions count of the events, packed: a stretch of some thousand events is one row with 32 bytes for each. It
// is written by appending, where an index would be changed in a page for each event; and it is read faster than one.
//
// Thread:   of the database; a writer of them is the archive's writer's.
// Lifetime: of its database. A stretch ends with its transaction.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include "collector/archive/Sql.h"

namespace collector {

// As it lies in the file, so its layout is the file's format.
struct Figure {
  static constexpr std::int64_t kNotMeasured = std::numeric_limits<std::int64_t>::min();

  std::int64_t clientTs = 0;
  std::int64_t measure = kNotMeasured;
  std::int64_t player = 0;  // 0 or below for none
  std::uint32_t topic = 0;
  std::uint32_t segment = 0;
};
static_assert(sizeof(Figure) == 32 && std::is_trivially_copyable_v<Figure>);

class Figures {
 public:
  explicit Figures(sqlite3* database);

  // Of the event with this number, which is above all before.
  void add(std::int64_t event, std::int64_t receivedAt, const Figure& figure);
  void write();
  void forget() { stretch_.clear(); }

 private:
  Statement insert_;
  std::vector<Figure> stretch_;
  std::int64_t last_ = 0, receivedAt_ = 0;  // of the stretch
};

// The stretches that may hold events of these times, both included, one after the other.
class FiguresBetween {
 public:
  FiguresBetween(sqlite3* database, std::int64_t from, std::int64_t to);
  // The next stretch, until the call after; empty behind the last. Not all of it need lie between the times.
  std::span<const Figure> next();

 private:
  Statement select_;
  std::vector<Figure> stretch_;
};

// Takes an erased player out of the stretches that its events, which are still there, are in.
void eraseFigures(sqlite3* database, std::int64_t player);

}  // namespace collector

// What is asked of the events of one category or of all: an engine turns it into its SQL.
//
// Thread: any; values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "collector/questions/Table.h"
#include "collector/records/Row.h"

namespace collector {

// Which events. Days are UTC days since 1970, both ends included; events without a time of their own are on day 0.
struct Filter {
  std::string game;  // its key
  std::int64_t from = 0;
  std::int64_t to = 0;
  std::map<Column, std::string> segment;  // platform, build, dimensions, A/B ids: as they must be
};

enum class Sum {
  events,   // how many
  players,  // how many different ones
  valued,   // how many that have a measure: see archive/Measure.h
  total,    // of the measure
  least,
  most,
};

struct Query {
  std::string category = {};    // empty: all
  std::vector<Column> by = {};  // texts
  bool byDay = false;           // first
  std::vector<Sum> sums;
  std::map<Column, std::string> where = {};  // texts that must be so
  std::size_t limit = kMostRows;             // rows, those with most events first; by day: in the order of days
};

// Which events themselves, the newest first.
struct Search {
  std::map<Column, std::string> where = {};  // the category and other texts that must be so
  std::optional<std::string> userId = {};
  std::optional<std::string> sessionId = {};  // a UUID in lower case
  std::size_t limit = kMostRows;
};

// What the fields of a game's own are counted from.
struct FieldsOfEvent {
  std::int64_t day;
  std::string text;    // of the column that is asked for
  std::string fields;  // custom_fields: a JSON object, or empty
  std::int64_t player;
  std::optional<std::int64_t> measure;
};

}  // namespace collector

// The answer to a question: columns and rows, the same from either engine.
//
// Thread: any; values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace collector {

using Value = std::variant<std::monostate, std::int64_t, double, std::string>;

using Line = std::vector<Value>;

constexpr std::size_t kMostRows = 10'000;                   // of an answer
constexpr std::size_t kMostBytes = std::size_t{32} << 20U;  // of its texts: a record alone may have a megabyte

struct Table {
  std::vector<std::string> columns;
  std::vector<Line> rows;
  bool isCut = false;  // there were more than an answer may have
};

// What stands in a cell: 0 where that is no number.
std::int64_t wholeOf(const Value& value);
double numberOf(const Value& value);
const std::string& textOf(const Value& value);
Value ratio(double of, double to);  // nothing of nothing

Table cut(Table table, std::size_t most);  // to so many rows

std::string dateOf(std::int64_t day);  // since 1970: 2026-11-22
std::string asCsv(const Table& table);
std::string asJson(const Table& table);  // {"columns": [...], "rows": [[...], ...], "complete": true}

}  // namespace collector

#include "collector/questions/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "collector/base/Json.h"

namespace collector {

namespace {

std::string quotedForCsv(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char each : text) quoted += each == '"' ? std::string("\"\"") : std::string(1, each);
  return quoted + '"';
}

template <class Quote>
std::string shown(const Value& value, const char* nothing, Quote quote) {
  if (const auto* text = std::get_if<std::string>(&value)) return quote(*text);
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return std::to_string(*whole);
  if (const auto* number = std::get_if<double>(&value)) return fmt::format("{}", *number);
  return nothing;
}

template <class Cell, class Show>
std::string joined(const std::vector<Cell>& cells, Show show) {
  std::string text;
  for (const Cell& cell : cells) {
    if (&cell != &cells.front()) text += ',';
    text += show(cell);
  }
  return text;
}

}  // namespace

std::int64_t wholeOf(const Value& value) {
  const auto* whole = std::get_if<std::int64_t>(&value);
  return whole != nullptr ? *whole : 0;
}

double numberOf(const Value& value) {
  const auto* number = std::get_if<double>(&value);
  return number != nullptr ? *number : static_cast<double>(wholeOf(value));
}

const std::string& textOf(const Value& value) { return std::get<std::string>(value); }

Value ratio(double of, double to) { return to != 0 ? Value(of / to) : Value(std::monostate()); }

Table cut(Table table, std::size_t most) {
  table.isCut = table.isCut || table.rows.size() > most;
  if (table.isCut) table.rows.resize(std::min(table.rows.size(), most));
  return table;
}

std::string dateOf(std::int64_t day) {
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
  return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                     static_cast<unsigned>(date.day()));
}

std::string asCsv(const Table& table) {
  std::string csv = joined(table.columns, quotedForCsv) + "\r\n";
  for (const Line& row : table.rows)
    csv += joined(row, [](const Value& value) { return shown(value, "", quotedForCsv); }) + "\r\n";
  return csv;
}

std::string asJson(const Table& table) {
  const auto rowAsJson = [](const Line& row) {
    return fmt::format("[{}]", joined(row, [](const Value& value) { return shown(value, "null", quotedJson); }));
  };
  return fmt::format(R"({{"columns":[{}],"rows":[{}],"complete":{}}})", joined(table.columns, quotedJson),
                     joined(table.rows, rowAsJson), !table.isCut);
}

}  // namespace collector

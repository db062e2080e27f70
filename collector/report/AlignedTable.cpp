#include "collector/report/AlignedTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <variant>
#include <vector>

#include "collector/base/Text.h"

namespace collector::report {

namespace {

struct Cell {
  std::string text;
  bool isNumber = false;
};

std::string readable(const std::string& text) {
  std::string kept = text;
  for (char& each : kept)
    if (static_cast<unsigned char>(each) < ' ' || each == '\x7f') each = '?';
  return kept;
}

Cell cellOf(const Value& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return {fmt::format("{}", *whole), true};
  if (const auto* number = std::get_if<double>(&value)) return {fmt::format("{:.6g}", *number), true};
  if (const auto* text = std::get_if<std::string>(&value)) return {readable(*text)};
  return {"-", true};
}

using Cells = std::vector<Cell>;

void addLine(std::string& text, const Cells& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t at = 0; at < cells.size(); ++at) {
    const std::string blank(widths[at] - utf16Length(cells[at].text), ' ');
    if (at > 0) line += "  ";
    line += cells[at].isNumber ? blank + cells[at].text : cells[at].text + blank;
  }
  text.append(line, 0, line.find_last_not_of(' ') + 1).push_back('\n');
}

}  // namespace

std::string asText(const Table& table) {
  std::vector<Cells> lines(1);
  for (std::size_t at = 0; at < table.columns.size(); ++at) {
    const bool isNumber = !table.rows.empty() && !std::holds_alternative<std::string>(table.rows.front()[at]);
    lines.front().push_back({table.columns[at], isNumber});
  }
  for (const Line& row : table.rows) {
    auto& cells = lines.emplace_back();
    for (const Value& value : row) cells.push_back(cellOf(value));
  }
  std::vector<std::size_t> widths(table.columns.size());
  for (const Cells& cells : lines)
    for (std::size_t at = 0; at < cells.size(); ++at) widths[at] = std::max(widths[at], utf16Length(cells[at].text));
  std::string text;
  for (const Cells& cells : lines) addLine(text, cells, widths);
  return text;
}

}  // namespace collector::report

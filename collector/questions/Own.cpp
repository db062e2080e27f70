#include "collector/questions/Own.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "collector/archive/Schema.h"
#include "collector/base/Text.h"
#include "collector/questions/BadQuestion.h"

namespace collector {

namespace {

constexpr std::array<Column, 5> kParts = {Column::part1, Column::part2, Column::part3, Column::part4, Column::part5};

std::string namesOf(const std::vector<Column>& columns) {
  std::string names;
  for (const Column column : columns) names += fmt::format("{}{}", names.empty() ? "" : ", ", nameOf(column));
  return names;
}

}  // namespace

bool isSet(const Own& own, std::string_view name) {
  const auto found = own.find(name);
  if (found == own.end() || found->second == "no") return false;
  if (found->second == "yes") return true;
  throw BadQuestion(fmt::format("{}: it is yes or no", name));
}

std::size_t limitOf(const Own& own, std::size_t fallback, std::size_t most) {
  const auto found = own.find("limit");
  if (found == own.end()) return fallback;
  const std::string& text = found->second;
  std::size_t limit = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), limit);
  if (failure != std::errc() || end != text.data() + text.size() || limit < 1 || limit > most)
    throw BadQuestion(fmt::format("limit: it must be a whole number from 1 to {}", most));
  return limit;
}

std::vector<Column> columnsOf(const Own& own, std::string_view name, std::vector<Column> fallback,
                              const std::vector<Column>& allowed) {
  const auto found = own.find(name);
  if (found == own.end()) return fallback;
  std::vector<Column> columns;
  std::string_view rest = found->second;
  while (!rest.empty()) {
    const auto comma = std::min(rest.find(','), rest.size());
    const std::string_view word = rest.substr(0, comma);
    const auto column = std::ranges::find(allowed, word, nameOf);
    if (column == allowed.end())
      throw BadQuestion(fmt::format("{}: \"{}\" is none of {}", name, prefixOf(word, kMaxQuoted), namesOf(allowed)));
    if (std::ranges::find(columns, *column) != columns.end())
      throw BadQuestion(fmt::format("{}: \"{}\" is there twice", name, word));
    columns.push_back(*column);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return columns;
}

std::vector<Column> withSegments(std::vector<Column> columns) {
  columns.insert(columns.end(), kSegmentColumns.begin(), kSegmentColumns.end());
  return columns;
}

std::map<Column, std::string> branchOf(const Own& own) {
  std::map<Column, std::string> parts;
  std::string_view rest;
  if (const auto under = own.find("under"); under != own.end()) rest = under->second;
  for (std::size_t depth = 0; !rest.empty(); ++depth) {
    if (depth == kParts.size()) throw BadQuestion("under: an event id has at most five parts");
    const auto colon = std::min(rest.find(':'), rest.size());
    parts[kParts[depth]] = rest.substr(0, colon);
    rest.remove_prefix(std::min(colon + 1, rest.size()));
  }
  return parts;
}

Column below(const std::map<Column, std::string>& branch) {
  return branch.size() < kParts.size() ? kParts[branch.size()] : Column::eventId;
}

}  // namespace collector

// Codes and their words: a row each.
#pragma once

#include <algorithm>
#include <optional>
#include <string_view>

namespace zorvane {

template <class Code>
struct Word {
  Code code;
  std::string_view word;
};

// Absent for a code that has no row.
template <class Rows, class Code>
constexpr std::optional<std::string_view> wordIn(const Rows& rows, Code code) {
  const auto row = std::ranges::find(rows, code, [](const auto& candidate) { return candidate.code; });
  return row != rows.end() ? std::optional(row->word) : std::nullopt;
}

}  // namespace zorvane

// What statements take and answer with.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zorvane {

// Column names to text. A column that is NULL is absent.
class Row {
 public:
  void set(std::string column, std::string text) { columns_.emplace_back(std::move(column), std::move(text)); }
  [[nodiscard]] const std::string* find(std::string_view column) const {
    for (const auto& [name, text] : columns_)
      if (name == column) return &text;
    return nullptr;
  }
  // "" when it is absent.
  [[nodiscard]] std::string textOf(std::string_view column) const {
    const std::string* text = find(column);
    return text != nullptr ? *text : std::string();
  }
  [[nodiscard]] std::size_t size() const { return columns_.size(); }

 private:
  std::vector<std::pair<std::string, std::string>> columns_;
};

using Rows = std::vector<Row>;
using Parameters = std::vector<std::string>;  // every value is bound as text

}  // namespace zorvane

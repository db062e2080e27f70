#include "collector/archive/Measure.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace collector {

namespace {

constexpr std::int64_t kMillion = 1'000'000;
constexpr std::int64_t kBillion = 1'000'000'000;
// No two times of a record are further apart. The engines add up seconds in 64 bits.
constexpr double kMaxSeconds = 99'999'999'999;

struct MeasureOf {
  std::string_view category;
  Column column;
  std::int64_t parts;
  double most = kMaxMeasure;
};

constexpr auto kMeasures = std::to_array<MeasureOf>({{"design", Column::value, kMillion},
                                                     {"business", Column::amount, kMillion},
                                                     {"resource", Column::amount, kMillion},
                                                     {"progression", Column::score, kMillion},
                                                     {"ads", Column::adDuration, kMillion},
                                                     {"impression", Column::value, kBillion},
                                                     {"session_end", Column::length, kMillion, kMaxSeconds* kMillion}});

std::optional<double> numberOf(const Cell& cell) {
  if (const auto* whole = std::get_if<std::int64_t>(&cell)) return static_cast<double>(*whole);
  if (const auto* number = std::get_if<double>(&cell)) return *number;
  return std::nullopt;
}

}  // namespace

std::optional<std::int64_t> measureOf(const Row& row) {
  const auto* category = std::get_if<std::string_view>(&row[Column::category]);
  if (category == nullptr) return std::nullopt;
  const auto found = std::ranges::find(kMeasures, *category, &MeasureOf::category);
  if (found == kMeasures.end()) return std::nullopt;
  const auto number = numberOf(row[found->column]);
  if (!number) return std::nullopt;
  return std::llround(std::clamp(*number * static_cast<double>(found->parts), -found->most, found->most));
}

std::int64_t partsOf(std::string_view category) {
  const auto found = std::ranges::find(kMeasures, category, &MeasureOf::category);
  return found != kMeasures.end() ? found->parts : kMillion;
}

}  // namespace collector

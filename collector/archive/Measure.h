// The one number of a record that questions add up. It is kept as a whole number of parts, so that sums are exact and
// the same in any order:
//   design      value                     business    amount, in the currency's smallest unit
//   resource    amount, below 0 of a sink   progression score
//   ads         duration in milliseconds  session_end length in seconds
//   impression  revenue
// A part is a millionth of the unit; of an impression's revenue a billionth, as one earns some hundred-thousandths and
// less. Larger numbers than 9 * 10^18 parts count as that: one fits into 64 bits, a sum of 10^19 of them into 128.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "collector/records/Row.h"

namespace collector {

inline constexpr double kMaxMeasure = 9e18;  // parts

// How many parts the unit of a category's measure has.
std::int64_t partsOf(std::string_view category);

std::optional<std::int64_t> measureOf(const Row& row);

}  // namespace collector

// Structs of the C interface grow at their end: what the caller's program knows of one is what its size says.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>

namespace zorvane {

// A copy, in which what the program doesn't know is 0. Absent when it is smaller than in any release.
template <class Struct>
std::optional<Struct> known(const Struct* given, std::size_t smallest) {
  if (given == nullptr || given->size < smallest) return std::nullopt;
  Struct copy{};
  std::memcpy(&copy, given, std::min(given->size, sizeof copy));
  return copy;
}

}  // namespace zorvane

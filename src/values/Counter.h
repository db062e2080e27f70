// A number of the persisted state that an event carries, stored together with it: a kill leaves no gap and no
// repetition.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

namespace zorvane {

struct Counter {
  std::string key;    // of the persisted state
  std::string value;  // in decimal
};

// The next number. What was stored may be anything, the largest number too, which stays.
constexpr std::int64_t successor(std::int64_t number) noexcept {
  return number < std::numeric_limits<std::int64_t>::max() ? number + 1 : number;
}

}  // namespace zorvane

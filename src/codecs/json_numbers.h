// Reading a number as JSON writes it.
//
// Thread: any; a pure function.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

struct JsonNumber {
  std::size_t length;  // characters
  ZVValue value;       // whole numbers within 64 bits as such, all others as the nearest double
};
// The number that `text` begins with. Absent when there is none, or one that no double comes near.
std::optional<JsonNumber> readJsonNumber(std::string_view text);

}  // namespace zorvane

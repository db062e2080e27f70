// Shape says what one value of a record must be: its type, its bounds and, where that isn't all, its words or its form.
//
// Thread: any; constants and pure functions.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "collector/base/Json.h"

namespace collector {

enum class Type : std::uint8_t {
  text,     // bounds: characters, as UTF-16 counts them
  id,       // text of parts with a colon between them; bounds: how many
  whole,    // bounds: the number
  number,   // any
  yes,      // true, never false
  object,   // bounds: members
  fields,   // a game's own: an object of numbers, flags and short texts
  receipt,  // of a purchase
};

using Words = std::span<const std::string_view>;

// How a text is written.
struct Form {
  std::string_view meaning;
  bool (*holds)(std::string_view text);
};

struct Shape {
  static constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  static constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

  Type type = Type::text;
  std::int64_t min = 0, max = kMost;
  Words words = {};  // a text is one of these; the first part of an id is
  const Form* form = nullptr;
  bool mayEndALine = false;  // a line terminator behind it does no harm
};

bool fits(const Shape& shape, const JsonValue& value);
// What fits, as in "three capital letters, such as USD".
std::string describe(const Shape& shape);
// Why a value does not fit: what was there, shortened, and what would be right.
std::string describeMisfit(const Shape& shape, const JsonValue& value);
// A value as a reason shows it.
std::string shown(const JsonValue& value);
// "a, b or c"; of many, how many they are and the first.
std::string describe(Words words);
bool isOneOf(std::string_view word, Words words);

// The ways to write a shape in a table.
namespace shapes {

constexpr Shape text(std::int64_t min = 0, std::int64_t max = Shape::kMost) { return {Type::text, min, max}; }
constexpr Shape oneOf(Words words) { return {.type = Type::text, .words = words}; }
constexpr Shape written(const Form& form, std::int64_t min = 0) {
  return {.type = Type::text, .min = min, .form = &form};
}
constexpr Shape id(std::int64_t min, std::int64_t max, Words first = {}) {
  return {.type = Type::id, .min = min, .max = max, .words = first};
}
constexpr Shape whole(std::int64_t min = Shape::kLeast, std::int64_t max = Shape::kMost) {
  return {Type::whole, min, max};
}
constexpr Shape number() { return {Type::number}; }
constexpr Shape yes() { return {Type::yes}; }
constexpr Shape filledObject() { return {Type::object, 1}; }
constexpr Shape customFields() { return {Type::fields, 1, 50}; }
constexpr Shape receipt() { return {Type::receipt}; }
constexpr Shape endingALine(Shape shape) {
  shape.mayEndALine = true;
  return shape;
}

}  // namespace shapes

}  // namespace collector

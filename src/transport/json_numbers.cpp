#include "transport/json_numbers.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

namespace {

// Powers of ten. A number whose first digit that counts stands beyond them overflows, or is nearer to zero than to the
// smallest double.
constexpr std::int64_t kLargestPower = 308;
constexpr std::int64_t kSmallestPower = -324;
constexpr std::int64_t kAnyPower = 1'000'000'000'000'000;  // more than the digits of any text can make up for

struct Parts {
  std::size_t length = 0;
  bool negative = false;
  std::string_view whole, fraction;
  bool hasExponent = false;
  std::int64_t exponent = 0;

  [[nodiscard]] bool isInteger() const { return fraction.empty() && !hasExponent; }
};

// The digits from `at` on, and past them.
std::string_view takeDigits(std::string_view text, std::size_t& at) {
  const std::string_view rest = text.substr(at);
  const std::string_view digits = rest.substr(0, rest.find_first_not_of("0123456789"));
  at += digits.size();
  return digits;
}

bool takeOneOf(std::string_view text, std::size_t& at, std::string_view characters) {
  const bool found = at < text.size() && characters.find(text[at]) != std::string_view::npos;
  if (found) ++at;
  return found;
}

std::int64_t powerOf(std::string_view digits, bool negative) {
  std::int64_t power = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), power);
  if (read.ec != std::errc() || power > kAnyPower) power = kAnyPower;
  return negative ? -power : power;
}

std::optional<Parts> partsOf(std::string_view text) {
  Parts parts;
  std::size_t at = 0;
  parts.negative = takeOneOf(text, at, "-");
  if (takeOneOf(text, at, "0")) parts.whole = "0";  // no digit follows a leading zero
  else if (parts.whole = takeDigits(text, at); parts.whole.empty()) return std::nullopt;
  if (takeOneOf(text, at, "."))
    if (parts.fraction = takeDigits(text, at); parts.fraction.empty()) return std::nullopt;
  if (takeOneOf(text, at, "eE")) {
    parts.hasExponent = true;
    const bool negative = takeOneOf(text, at, "-");
    if (!negative) takeOneOf(text, at, "+");
    const std::string_view digits = takeDigits(text, at);
    if (digits.empty()) return std::nullopt;
    parts.exponent = powerOf(digits, negative);
  }
  parts.length = at;
  return parts;
}

// The number is first written with one digit before its point: only then does the exponent alone say whether a number
// that is out of range is too large or too small, and no row of zeros can outweigh it.
std::optional<double> doubleOf(const Parts& parts) {
  const double zero = parts.negative ? -0.0 : 0.0;
  std::string digits;
  std::int64_t power = parts.exponent;
  if (parts.whole != "0") {
    digits.reserve(parts.length + 8);
    digits.append(parts.whole).append(parts.fraction);
    power += static_cast<std::int64_t>(parts.whole.size()) - 1;
  } else {
    const std::size_t zeros = parts.fraction.find_first_not_of('0');
    if (zeros == std::string_view::npos) return zero;
    digits = parts.fraction.substr(zeros);
    power -= static_cast<std::int64_t>(zeros) + 1;
  }
  if (power > kLargestPower) return std::nullopt;
  if (power < kSmallestPower) return zero;
  if (digits.size() > 1) digits.insert(1, ".");
  digits.append("e").append(std::to_string(power));

  double number = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (read.ec == std::errc::result_out_of_range) return power > 0 ? std::nullopt : std::optional(zero);
  return parts.negative ? -number : number;
}

}  // namespace

std::optional<JsonNumber> readJsonNumber(std::string_view text) {
  const auto parts = partsOf(text);
  if (!parts) return std::nullopt;
  std::int64_t integer = 0;
  if (parts->isInteger() && std::from_chars(text.data(), text.data() + parts->length, integer).ec == std::errc())
    return JsonNumber{parts->length, integer};
  const auto number = doubleOf(*parts);
  return number ? std::optional(JsonNumber{parts->length, *number}) : std::nullopt;
}

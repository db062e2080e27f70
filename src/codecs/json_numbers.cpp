#include "codecs/json_numbers.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <system_error>

namespace zorvane {

namespace {

// Powers of ten. A number whose first digit that counts stands beyond them overflows, or is nearer to zero than to the
// smallest double.
constexpr std::int64_t kLargestPower = 308;
constexpr std::int64_t kSmallestPower = -324;
constexpr std::int64_t kTrustedPower = 9999;               // std::from_chars cuts exponents off somewhere beyond
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
  const std::size_t begin = at;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  return text.substr(begin, at - begin);
}

bool take(std::string_view text, std::size_t& at, char character) {
  const bool found = at < text.size() && text[at] == character;
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
  parts.negative = take(text, at, '-');
  if (take(text, at, '0')) parts.whole = "0";  // no digit follows a leading zero
  else if (parts.whole = takeDigits(text, at); parts.whole.empty()) return std::nullopt;
  if (take(text, at, '.'))
    if (parts.fraction = takeDigits(text, at); parts.fraction.empty()) return std::nullopt;
  if (take(text, at, 'e') || take(text, at, 'E')) {
    parts.hasExponent = true;
    const bool negative = take(text, at, '-');
    if (!negative) take(text, at, '+');
    const std::string_view digits = takeDigits(text, at);
    if (digits.empty()) return std::nullopt;
    parts.exponent = powerOf(digits, negative);
  }
  parts.length = at;
  return parts;
}

// Where a number's first digit that counts stands. Absent for a zero.
struct Magnitude {
  std::int64_t power;  // of ten
  std::size_t zeros;   // of the fraction, before that digit
};
std::optional<Magnitude> magnitudeOf(const Parts& parts) {
  if (parts.whole != "0") return Magnitude{parts.exponent + static_cast<std::int64_t>(parts.whole.size()) - 1, 0};
  const std::size_t zeros = parts.fraction.find_first_not_of('0');
  if (zeros == std::string_view::npos) return std::nullopt;
  return Magnitude{parts.exponent - static_cast<std::int64_t>(zeros) - 1, zeros};
}

// The number with one digit before its point, and without its sign.
std::string normalised(const Parts& parts, const Magnitude& magnitude) {
  std::string digits(parts.whole != "0" ? parts.whole : "");
  digits.append(parts.fraction.substr(magnitude.zeros));
  return digits.substr(0, 1) + '.' + digits.substr(1) + 'e' + std::to_string(magnitude.power);
}

std::optional<double> doubleOf(std::string_view text, const Parts& parts) {
  const double zero = parts.negative ? -0.0 : 0.0;
  const auto magnitude = magnitudeOf(parts);
  if (!magnitude || magnitude->power < kSmallestPower) return zero;
  if (magnitude->power > kLargestPower) return std::nullopt;
  std::string rewritten;
  text.remove_prefix(parts.negative ? 1 : 0);
  if (std::abs(parts.exponent) > kTrustedPower) text = rewritten = normalised(parts, *magnitude);

  double number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  // The same error means both: too large, and nearer to zero than to anything else.
  if (read.ec == std::errc::result_out_of_range) return magnitude->power > 0 ? std::nullopt : std::optional(zero);
  return parts.negative ? -number : number;
}

}  // namespace

std::optional<JsonNumber> readJsonNumber(std::string_view text) {
  const auto parts = partsOf(text);
  if (!parts) return std::nullopt;
  std::int64_t integer = 0;
  if (parts->isInteger() && std::from_chars(text.data(), text.data() + parts->length, integer).ec == std::errc())
    return JsonNumber{parts->length, integer};
  const auto number = doubleOf(text.substr(0, parts->length), *parts);
  return number ? std::optional(JsonNumber{parts->length, *number}) : std::nullopt;
}

}  // namespace zorvane

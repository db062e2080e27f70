#include "values/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include <utf8.h>

namespace zorvane {

namespace {

constexpr double kWholeDoublesEnd = 9007199254740992.0;  // 2^53: from here on doubles skip whole numbers
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";
constexpr std::size_t kMaxBytesPerUnit = 3;  // two units of UTF-16 take four bytes, one takes up to three

constexpr std::uint64_t kBeyondAscii = 0x8080808080808080U;

// Nearly all text is, so it is looked at eight bytes at a time.
bool isAscii(std::string_view text) noexcept {
  std::uint64_t block = 0;
  for (; text.size() >= sizeof block; text.remove_prefix(sizeof block)) {
    std::memcpy(&block, text.data(), sizeof block);
    if ((block & kBeyondAscii) != 0) return false;
  }
  block = 0;
  for (const char character : text) block |= static_cast<unsigned char>(character);
  return (block & kBeyondAscii) == 0;
}

// The first byte of a character counts, the first of four twice.
std::size_t codeUnits(char character) noexcept {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= 0xF0 ? 2 : (byte & 0xC0U) != 0x80;
}

std::string_view validBeginning(std::string_view text) noexcept {
  return text.substr(0, static_cast<std::size_t>(utf8::find_invalid(text.begin(), text.end()) - text.begin()));
}

std::string_view withoutLeading(std::string_view text, std::string_view characters) noexcept {
  return text.substr(std::min(text.find_first_not_of(characters), text.size()));
}

std::int64_t truncated(double number) noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  if (std::isnan(number)) return 0;
  if (number >= 0x1p63) return Limits::max();
  if (number <= -0x1p63) return Limits::min();
  return static_cast<std::int64_t>(number);
}

template <class Items, class Describe>
std::string listing(const Items& items, char open, std::string_view separator, char close, Describe describeItem) {
  std::string text(1, open);
  bool first = true;
  for (const auto& item : items) {
    if (!std::exchange(first, false)) text += separator;
    text += describeItem(item);
  }
  return text += close;
}

// How deep a description goes; what lies deeper is left out, for a game may nest without end.
constexpr int kDescribedDepth = 64;

std::string describeWithin(int depth, const ZVMap& map);

std::string describeWithin(int depth, const ZVValue& value) {
  if (const auto* text = value.ifString()) return *text;
  if (const auto* flag = value.ifBool()) return *flag ? "1" : "0";
  if (const auto* whole = value.ifInteger()) return std::to_string(*whole);
  if (const auto* number = value.ifDouble()) return decimalText(*number);
  if (const auto* map = value.ifMap()) return describeWithin(depth, *map);
  const auto* array = value.ifArray();
  if (array == nullptr) return "(null)";
  if (depth == 0) return "(...)";
  return listing(*array, '(', ", ", ')', [=](const ZVValue& item) { return describeWithin(depth - 1, item); });
}

std::string describeWithin(int depth, const ZVMap& map) {
  if (depth == 0) return "{...}";
  return listing(map, '{', "; ", '}',
                 [=](const ZVMap::Entry& entry) { return entry.key + " = " + describeWithin(depth - 1, entry.value); });
}

}  // namespace

bool isValidUtf8(std::string_view text) noexcept { return isAscii(text) || utf8::is_valid(text.begin(), text.end()); }

std::optional<std::size_t> utf16Length(std::string_view text) noexcept {
  if (isAscii(text)) return text.size();
  if (!utf8::is_valid(text.begin(), text.end())) return std::nullopt;
  std::size_t units = 0;
  for (const char character : text) units += codeUnits(character);
  return units;
}

std::string_view prefixOfUtf16Length(std::string_view text, std::size_t units) noexcept {
  if (units < text.size() / kMaxBytesPerUnit) text = text.substr(0, units * kMaxBytesPerUnit);
  text = validBeginning(text);
  std::size_t end = 0;
  for (; end < text.size() && codeUnits(text[end]) <= units; ++end) units -= codeUnits(text[end]);
  return text.substr(0, end);
}

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
  std::string all;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) all += separator;
    all += text;
  }
  return all;
}

std::string withReplacementCharacters(std::string_view text) {
  std::string repaired(validBeginning(text));
  for (std::size_t at = repaired.size(); at < text.size();) {
    repaired += kReplacementCharacter;  // for each byte that begins no character
    const std::string_view valid = validBeginning(text.substr(at + 1));
    repaired += valid;
    at += 1 + valid.size();
  }
  return repaired;
}

std::string describe(const ZVValue& value) { return describeWithin(kDescribedDepth, value); }
std::string describe(const ZVMap& map) { return describeWithin(kDescribedDepth, map); }

std::string decimalText(double number) {
  std::array<char, 32> buffer{};
  char* const end = buffer.data() + buffer.size();
  const bool whole = std::abs(number) < kWholeDoublesEnd && std::trunc(number) == number;
  const auto written = whole ? std::to_chars(buffer.data(), end, static_cast<std::int64_t>(number))
                             : std::to_chars(buffer.data(), end, number);
  return {buffer.data(), written.ptr};
}

std::int64_t integerReading(const ZVValue& value) {
  if (const auto* whole = value.ifInteger()) return *whole;
  if (const auto* number = value.ifDouble()) return truncated(*number);
  if (const auto* flag = value.ifBool()) return *flag ? 1 : 0;
  if (const auto* text = value.ifString()) return integerOfText(*text);
  return 0;
}

double doubleReading(const ZVValue& value) {
  const double* fraction = value.ifDouble();
  return fraction != nullptr ? *fraction : static_cast<double>(integerReading(value));
}

std::int64_t integerOfText(std::string_view text) noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  std::string_view digits = withoutLeading(text, kBlanks);
  const bool negative = digits.starts_with('-');
  if (digits.starts_with("+") && !digits.starts_with("+-")) digits.remove_prefix(1);
  std::int64_t number = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (read.ec == std::errc::result_out_of_range) return negative ? Limits::min() : Limits::max();
  return number;
}

bool booleanReading(std::string_view text) noexcept {
  std::string_view rest = withoutLeading(text, kBlanks);
  if (rest.starts_with('+') || rest.starts_with('-')) rest.remove_prefix(1);
  rest = withoutLeading(rest, "0");
  return !rest.empty() && std::string_view("YyTt123456789").find(rest.front()) != std::string_view::npos;
}

}  // namespace zorvane

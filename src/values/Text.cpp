#include "values/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace zorvane {

namespace {

constexpr double kWholeDoublesEnd = 9007199254740992.0;  // 2^53: from here on doubles skip whole numbers
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

// What may follow which first byte of a character. Overlong forms, surrogates and what lies beyond U+10FFFF have no
// row.
struct LeadBytes {
  unsigned char first, last;
  std::size_t bytes;
  unsigned char secondFirst, secondLast;
};
constexpr auto kLeadBytes = std::to_array<LeadBytes>({
    {0xC2, 0xDF, 2, 0x80, 0xBF},
    {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F},
    {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF},
    {0xF4, 0xF4, 4, 0x80, 0x8F},
});

constexpr bool isWithin(unsigned char byte, unsigned char first, unsigned char last) {
  return byte >= first && byte <= last;
}

// Bytes of the character that begins at `at`; 0 when none does.
std::size_t characterBytes(std::string_view text, std::size_t at) noexcept {
  const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(text[at + offset]); };
  if (byte(0) < 0x80) return 1;
  for (const LeadBytes& row : kLeadBytes) {
    if (!isWithin(byte(0), row.first, row.last)) continue;
    if (text.size() - at < row.bytes || !isWithin(byte(1), row.secondFirst, row.secondLast)) return 0;
    for (std::size_t offset = 2; offset < row.bytes; ++offset)
      if (!isWithin(byte(offset), 0x80, 0xBF)) return 0;
    return row.bytes;
  }
  return 0;
}

constexpr std::size_t codeUnits(std::size_t bytes) { return bytes == 4 ? 2 : 1; }

constexpr std::uint64_t kBeyondAscii = 0x8080808080808080U;

// How many bytes from `at` are ASCII for certain. Nearly all text is, so it is looked at eight bytes at a time.
std::size_t asciiBlocks(std::string_view text, std::size_t at) noexcept {
  std::size_t end = at;
  for (std::uint64_t block = 0; text.size() - end >= sizeof block; end += sizeof block) {
    std::memcpy(&block, text.data() + end, sizeof block);
    if ((block & kBeyondAscii) != 0) break;
  }
  return end - at;
}

bool isAscii(std::string_view text) noexcept {
  std::uint64_t rest = 0;
  for (const char character : text.substr(asciiBlocks(text, 0))) rest |= static_cast<unsigned char>(character);
  return (rest & kBeyondAscii) == 0;
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

bool isValidUtf8(std::string_view text) noexcept { return isAscii(text) || utf16Length(text).has_value(); }

std::optional<std::size_t> utf16Length(std::string_view text) noexcept {
  std::size_t units = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (const std::size_t ascii = asciiBlocks(text, at); ascii > 0) {
      units += ascii;
      at += ascii;
      continue;
    }
    const std::size_t bytes = characterBytes(text, at);
    if (bytes == 0) return std::nullopt;
    units += codeUnits(bytes);
    at += bytes;
  }
  return units;
}

std::string_view prefixOfUtf16Length(std::string_view text, std::size_t units) noexcept {
  std::size_t end = 0;
  while (end < text.size()) {
    const std::size_t bytes = characterBytes(text, end);
    if (bytes == 0 || codeUnits(bytes) > units) break;
    units -= codeUnits(bytes);
    end += bytes;
  }
  return text.substr(0, end);
}

std::string withReplacementCharacters(std::string_view text) {
  if (isValidUtf8(text)) return std::string(text);
  std::string repaired;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t bytes = characterBytes(text, at);
    repaired += bytes == 0 ? kReplacementCharacter : text.substr(at, bytes);
    at += std::max<std::size_t>(bytes, 1);
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

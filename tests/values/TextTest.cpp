#include "values/Text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using namespace zorvane;

namespace {

using namespace std::string_literals;

constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

TEST(Utf16Length, CountsCodeUnitsOfValidTextOnly) {
  using Case = std::pair<std::string, std::optional<std::size_t>>;
  for (const auto& [text, length] : {
           Case{"a\0b"s, 3}, Case{"12345678\xC3\xA9", 9}, Case{"\xED\x9F\xBF\xEE\x80\x80", 2},  // around the surrogates
           Case{"\xF4\x8F\xBF\xBF", 2},             // U+10FFFF, the last one
           Case{"\xF4\x90\x80\x80", std::nullopt},  // beyond it
           Case{"\xED\xA0\x80", std::nullopt},      // a lone surrogate
           Case{"\xC0\xAF", std::nullopt},          // an overlong form
           Case{"12345678\xE2\x82", std::nullopt},  // cut off
       }) {
    EXPECT_EQ(utf16Length(text), length) << testing::PrintToString(text);
    EXPECT_EQ(isValidUtf8(text), length.has_value()) << testing::PrintToString(text);
  }
}

TEST(PrefixOfUtf16Length, SplitsNoCharacter) {
  const std::string text = "a\xC3\xA9\xF0\x9F\x98\x80z";  // 1 + 1 + 2 + 1 code units
  const std::size_t bytes[] = {0, 1, 3, 3, 7, 8, 8};
  for (std::size_t units = 0; units < std::size(bytes); ++units)
    EXPECT_EQ(prefixOfUtf16Length(text, units), text.substr(0, bytes[units])) << units;
  EXPECT_EQ(prefixOfUtf16Length("ab\xFFz", 4), "ab");
}

TEST(WithReplacementCharacters, TouchesOnlyWhatIsNotUtf8) {
  EXPECT_EQ(withReplacementCharacters("\xC3\xA9\xFF\xC3"), "\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(DecimalText, WritesWholeNumbersWithoutFractionAndOthersExactly) {
  for (const auto& [number, text] : {std::pair{1700000000.0, "1700000000"},
                                     {-0.0, "0"},
                                     {-2.5, "-2.5"},
                                     {9007199254740991.0, "9007199254740991"},
                                     {1700000000.25, "1700000000.25"},
                                     {1e300, "1e+300"}})
    EXPECT_EQ(decimalText(number), text);
}

TEST(Describe, ShowsEveryKindOfValue) {
  EXPECT_EQ(
      describe(ZVMap{{"text", ""}, {"list", ZVValue::Array{"", 2, 2.5, false}}, {"none", nullptr}, {"map", ZVMap{}}}),
      "{text = ; list = (, 2, 2.5, 0); none = (null); map = {}}");
}

TEST(IntegerReading, TakesLeadingDigitsAndStaysWithin64Bits) {
  using Case = std::pair<ZVValue, std::int64_t>;
  for (const auto& [value, number] :
       {Case{" \t-7 apples", -7}, Case{"+5", 5}, Case{"+-5", 0}, Case{"", 0}, Case{"1.9", 1},
        Case{"9223372036854775808", kMax}, Case{"-9223372036854775809", kMin}, Case{-2.9, -2}, Case{1e19, kMax},
        Case{-1e19, kMin}, Case{std::numeric_limits<double>::quiet_NaN(), 0}, Case{true, 1}, Case{nullptr, 0}})
    EXPECT_EQ(integerReading(value), number) << describe(value);
}

TEST(BooleanReading, TakesYesTrueAndDigitsOtherThanZero) {
  for (const auto* text : {"YES", "true", "007", " -1", "9x"}) EXPECT_TRUE(booleanReading(text)) << text;
  for (const auto* text : {"NO", "false", "000", "", "-", "x1"}) EXPECT_FALSE(booleanReading(text)) << text;
}

}  // namespace

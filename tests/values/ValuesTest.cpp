#include "values/Text.h"

#include <gtest/gtest.h>
#include <zorvane/ZVTypes.h>

#include <limits>
#include <string>

using namespace zorvane;

namespace {

constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

// How text is measured, cut and repaired shows against other code: torture/fuzz/text.cpp.
TEST(PrefixOfUtf16Length, SplitsNoCharacter) {
  const std::string text = "a\xC3\xA9\xF0\x9F\x98\x80z";  // 1 + 1 + 2 + 1 code units
  const std::size_t bytes[] = {0, 1, 3, 3, 7, 8, 8};
  for (std::size_t units = 0; units < std::size(bytes); ++units)
    EXPECT_EQ(prefixOfUtf16Length(text, units), text.substr(0, bytes[units])) << units;
}

TEST(DecimalText, WritesWholeNumbersWithoutFractionAndOthersExactly) {
  using Case = std::pair<double, const char*>;
  for (const auto& [number, text] :
       {Case{1700000000, "1700000000"}, Case{-0.0, "0"}, Case{-2.5, "-2.5"}, Case{9007199254740991, "9007199254740991"},
        Case{1700000000.25, "1700000000.25"}, Case{1e300, "1e+300"}})
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

// On both sides of the size from which entries are found by an index.
TEST(ZVMap, FindsEveryEntryAfterAnyChangeAtAnySize) {
  for (const int size : {1, 31, 32, 33, 34, 200}) {
    ZVMap map;
    for (int number = 0; number < size; ++number) map.set("key" + std::to_string(number), number);
    map.set("key0", "again");
    ASSERT_EQ(map.size(), static_cast<std::size_t>(size));
    const int middle = size / 2;
    const std::string erased = "key" + std::to_string(middle);
    EXPECT_TRUE(map.erase(erased));
    EXPECT_FALSE(map.erase(erased)) << size;
    ZVMap copy = map;
    const ZVMap moved = std::move(map);
    copy.set("later", true);
    for (int number = 1; number < size; ++number) {
      const std::string key = "key" + std::to_string(number);
      for (const auto* const each : {&std::as_const(copy), &moved}) {
        const ZVValue* const found = each->find(key);
        ASSERT_EQ(found == nullptr, number == middle) << key << " of " << size;
        if (found != nullptr) {
          EXPECT_EQ(*found, ZVValue(number));
        }
      }
    }
    EXPECT_TRUE(copy.contains("later"));
    EXPECT_FALSE(moved.contains("later")) << "a copy shares nothing";
    copy.clear();
    EXPECT_FALSE(copy.contains("later"));
  }
}

TEST(ZVMap, ComparesContentWhateverTheOrder) {
  const ZVMap map{{"a", 1}, {"b", ZVValue::Array{1, "x", ZVMap{{"c", nullptr}}}}};
  EXPECT_EQ(map, (ZVMap{{"b", ZVValue::Array{1, "x", ZVMap{{"c", nullptr}}}}, {"a", 1}}));
  EXPECT_FALSE(map == (ZVMap{{"a", 1}, {"c", 2}}));
  EXPECT_FALSE(map == (ZVMap{{"a", 1}, {"b", ZVValue::Array{"x", 1}}}));
}

TEST(ZVValue, KeepsTheKindOfWhatItWasGiven) {
  const char* const absent = nullptr;
  EXPECT_NE(ZVValue("text").ifString(), nullptr) << "a literal is no boolean";
  EXPECT_TRUE(ZVValue(absent).isNull());
  EXPECT_NE(ZVValue(true).ifBool(), nullptr);
  EXPECT_NE(ZVValue(1.0).ifDouble(), nullptr);
  EXPECT_NE(ZVValue(std::numeric_limits<std::uint64_t>::max()).ifDouble(), nullptr);
  EXPECT_EQ(*ZVValue(std::numeric_limits<std::int64_t>::min()).ifInteger(), std::numeric_limits<std::int64_t>::min());
  EXPECT_FALSE(ZVValue(1) == ZVValue(true));
}

}  // namespace

#include "codecs/json_numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "codecs/ZVHelpers.h"

using namespace zorvane;

namespace {

using Limits = std::numeric_limits<std::int64_t>;
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kSmallest = std::numeric_limits<double>::denorm_min();
constexpr double kSmallestNormal = std::numeric_limits<double>::min();

std::optional<ZVValue> valueOf(const std::string& number) {
  const auto document = ZVHelpers::dictionaryWithJsonData("[null," + number + "]");
  return document ? std::optional(document->ifArray()->at(1)) : std::nullopt;
}

// Kind, value and sign.
void expectExactly(const std::string& number, const ZVValue& expected) {
  const auto value = valueOf(number);
  const std::string shown = number.substr(0, 100);
  ASSERT_TRUE(value) << shown;
  ASSERT_EQ(*value, expected) << shown;
  const double* const fraction = value->ifDouble();
  const bool isNegative = fraction != nullptr && std::signbit(*fraction);
  EXPECT_EQ(isNegative, fraction != nullptr && std::signbit(*expected.ifDouble())) << shown;
}

TEST(JsonNumbers, AreTakenExactly) {
  struct Case {
    std::string text;
    ZVValue value;
  };
  const std::string zeros(300, '0');
  const std::string ones(80, '1');
  const std::string halfway = "9007199254740993";  // between two doubles
  for (const auto& [text, value] : {
           Case{"0", 0},
           Case{"-0", 0},
           Case{"-0.0", -0.0},
           Case{"0.0", 0.0},
           Case{"-0e5", -0.0},
           Case{"1e2", 100.0},
           Case{"1.0", 1.0},
           Case{"12E+2", 1200.0},
           Case{"5e-1", 0.5},
           Case{"0.1", 0.1},
           Case{"0.30000000000000004", 0.30000000000000004},
           Case{"1e23", 1e23},
           Case{"9e0000000000000000000001", 90.0},
           // Whole numbers.
           Case{"9223372036854775807", Limits::max()},
           Case{"-9223372036854775808", Limits::min()},
           Case{"9223372036854775808", 0x1p63},
           Case{"-9223372036854775809", -0x1p63},
           Case{"18446744073709551615", 0x1p64},
           Case{"18446744073709551616", 0x1p64},
           Case{"9007199254740993", 9007199254740993},
           Case{"1" + zeros, 1e300},
           Case{"-1" + zeros, -1e300},
           Case{std::string(309, '1'), 0x1.3c747785b50b2p+1023},
           // What rounds to even, and the least that decides it.
           Case{halfway + ".0", 9007199254740992.0},
           Case{halfway + "." + zeros + "1", 9007199254740994.0},
           Case{halfway + "e0", 9007199254740992.0},
           Case{"9007199254740995.0", 9007199254740996.0},
           Case{halfway + "." + std::string(1000, '0') + "1", 9007199254740994.0},
           Case{halfway + "." + std::string(1000, '0'), 9007199254740992.0},
           // The ends of the range.
           Case{"1.7976931348623157e308", kLargest},
           Case{"-1.7976931348623158e308", -kLargest},
           Case{"0.17976931348623157e309", kLargest},
           Case{"5e-324", kSmallest},
           Case{"-3e-324", -kSmallest},
           Case{"2.2250738585072014e-308", kSmallestNormal},
           Case{"2.2250738585072011e-308", 0x0.fffffffffffffp-1022},
           Case{"2.4703282292062328e-324", kSmallest},
           Case{"2.4703282292062327e-324", 0.0},
           Case{"-2e-324", -0.0},
           Case{"1e-400", 0.0},
           Case{"-1e-999999999", -0.0},
           Case{"1e-99999999999999999999999999", 0.0},
           Case{"0." + zeros + zeros + "1", 0.0},
           // A zero stays one.
           Case{"0e300", 0.0},
           Case{"0e999999999", 0.0},
           Case{"-0.000e999999999999999999999", -0.0},
           Case{"0." + zeros + "e99999", 0.0},
           // Digits and exponents that outweigh each other.
           Case{"1" + zeros + zeros + "e-600", 1.0},
           Case{"0." + zeros + zeros + "1e601", 1.0},
           Case{"0." + std::string(700'000, '0') + "1e700001", 1.0},
           Case{"1" + std::string(700'000, '0') + "e-700000", 1.0},
           Case{"0." + ones + "e-403", 0.0},
           Case{"0." + ones + "e-322", 2 * kSmallest},
           Case{"0." + ones + "e300", 0x1.53ca79555bde0p+993},
       })
    expectExactly(text, value);
}

TEST(JsonNumbers, BeyondADoubleCostTheDocument) {
  const std::string zeros(300, '0');
  for (const std::string& text :
       {std::string("2e308"), std::string("-2e308"), std::string("1.7976931348623159e308"), std::string("1E400"),
        std::string("1e999999999"), "1" + zeros + "e300", std::string("1e99999999999999999999999999"),
        "1" + zeros + zeros, std::string(310, '1'), "0." + zeros + "1e700"})
    EXPECT_EQ(valueOf(text), std::nullopt) << text;
}

TEST(JsonNumbers, FollowTheGrammar) {
  for (const char* text :
       {"",     "-",   "+1",    ".5",    "1.",  "1.e5",     "01",        "-01", "00", "1e",  "1e+",     "1e-",
        "0x10", "1_0", "1.5.5", "1e5.5", "--1", "Infinity", "-Infinity", "NaN", "1,", "1 2", "\xD9\xA1"})
    EXPECT_EQ(valueOf(text), std::nullopt) << text;
  for (const auto& [text, length] : {std::pair{"12]", 2}, {"0123", 1}, {"-1.50e+7,", 8}})
    EXPECT_EQ(readJsonNumber(text)->length, static_cast<std::size_t>(length)) << text;
}

}  // namespace

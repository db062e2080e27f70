#include "validation/ZVValidator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

using namespace std::string_literals;

std::string letters(std::size_t count) { return std::string(count, 'a'); }
const std::string kEmoji = "\xF0\x9F\x98\x80";  // two code units
const std::string kBadText = "bad \xC3";

class Validator : public testing::Test {
 protected:
  // The one warning of a refusal; what is valid must have left none. Forgets it.
  void expectWarning(const std::string& text) {
    EXPECT_EQ(log.lines(), std::vector{"Warning/ZV/Analytics: " + text});
    log.clear();
  }

  TestPlatform platform = TestPlatform::make();
  LogCapture log;
};

TEST_F(Validator, TiersCountCodeUnits) {
  struct Tier {
    bool (*rule)(ZVText, bool);
    std::size_t most;
  };
  for (const auto& [rule, most] :
       {Tier{ZVValidator::validateShortString, 32}, Tier{ZVValidator::validateString, 64},
        Tier{ZVValidator::validateMediumString, 256}, Tier{ZVValidator::validateLongString, 8192},
        Tier{ZVValidator::validateEventPartLength, 64}}) {
    EXPECT_TRUE(rule(letters(most), false)) << most;
    EXPECT_FALSE(rule(letters(most + 1), true)) << most;
    EXPECT_TRUE(rule(letters(most - 2) + kEmoji, false)) << most;
    EXPECT_FALSE(rule(letters(most - 1) + kEmoji, false)) << most;
    EXPECT_FALSE(rule(kBadText, true)) << most;
    for (const ZVText none : {ZVText(), ZVText("")})
      for (const bool allowed : {true, false}) EXPECT_EQ(rule(none, allowed), allowed) << most;
  }
  std::string wide;  // three bytes a code unit: the longest that fits
  for (int count = 0; count < 32; ++count) wide += "\xE2\x82\xAC";
  EXPECT_TRUE(ZVValidator::validateShortString(wide));
}

TEST_F(Validator, KeysAreOf32And40LettersAndDigits) {
  using Case = std::tuple<std::string, std::string, bool>;
  for (const auto& [key, keySecret, valid] :
       {Case{letters(30) + "_^", letters(38) + "Z9", true}, Case{letters(31), letters(40), false},
        Case{letters(33), letters(40), false}, Case{letters(31) + "-", letters(40), false},
        Case{letters(32), letters(39), false}})
    EXPECT_EQ(ZVValidator::validateKeysWithGameKey(key, keySecret), valid) << key << ' ' << keySecret;
}

TEST_F(Validator, ConfigurationValues) {
  using Case = std::tuple<bool (*)(ZVText), std::vector<ZVText>, std::vector<ZVText>>;
  const std::string of64 = letters(64);
  const std::string of65 = letters(65);
  for (const auto& [rule, valid, invalid] : {
           Case{ZVValidator::validateSdkWrapperVersion,
                {"unity 2019.4.1", "unity ", "unity .", "air 1.2"},
                {"unity 2019.4.1.2", "unity 123456", "unity", "Unity 1", nullptr}},
           Case{ZVValidator::validateEngineVersion, {"godot 4.2"}, {"air 1.2", nullptr}},
           Case{ZVValidator::validateAppVersion, {"1.0_rc-2 b", of64}, {"1.0+2", of65}},
           Case{ZVValidator::validateAppBuild, {of64}, {"", of65}},
           Case{ZVValidator::validateEventPartCharacters,
                {"Boss (1)_-.!?", "a\tb\xC2\xA0"},  // white space of any kind
                {"a:b", "a,b", "\xC3\xA9", ""}},
       }) {
    for (const ZVText text : valid) EXPECT_TRUE(rule(text)) << text.orNull();
    for (const ZVText text : invalid) EXPECT_FALSE(rule(text)) << text.orNull();
  }
}

TEST_F(Validator, ClientTimesAreWithinRange) {
  for (const double valid : {1.0, 0.5, 99999999999.0, std::nan("")}) EXPECT_TRUE(ZVValidator::validateClientTs(valid));
  for (const double invalid : {0.0, -1.0, 100000000000.0}) EXPECT_FALSE(ZVValidator::validateClientTs(invalid));
}

TEST_F(Validator, ListsSayWhatIsWrongWithThem) {
  using List = ZVValidator::TextList;
  const auto dimensions = ZVValidator::validateCustomDimensionsWithCustomDimensions;
  const auto currencies = ZVValidator::validateResourceCurrenciesWithResourceCurrencies;
  const auto itemTypes = ZVValidator::validateResourceItemTypesWithResourceItemTypes;
  EXPECT_TRUE(dimensions(std::vector(20, letters(32))));
  EXPECT_TRUE(currencies(List({"Gold", letters(64)})));
  EXPECT_TRUE(itemTypes(List({"Boost (big)", letters(32)})));
  const auto refuses = [&](bool (*rule)(const List&), const List& list, const std::string& line) {
    EXPECT_FALSE(rule(list)) << line;
    expectWarning(line);
  };
  const std::string ofDimensions = "custom dimensions validation failed: ";
  refuses(dimensions, std::nullopt, ofDimensions + "array cannot be (null).");
  refuses(dimensions, std::vector<std::string>{}, ofDimensions + "array cannot be empty.");
  refuses(dimensions, std::vector(21, ""s), ofDimensions + "array cannot exceed 20 values. It has 21 values.");
  refuses(dimensions, List({"a", "", kBadText}), ofDimensions + "contained an empty string.");
  refuses(dimensions, List({"a", kBadText, ""}), ofDimensions + "was either not a string or null");
  const auto tooLong = [&](auto rule, const std::string& name, std::size_t most) {
    refuses(rule, List({letters(most + 1)}),
            name + " validation failed: a string exceeded max allowed length (which is: " + std::to_string(most) +
                "). String was: " + letters(most + 1) + ".");
  };
  tooLong(dimensions, "custom dimensions", 32);
  tooLong(currencies, "resource currencies", 64);
  tooLong(itemTypes, "resource item types", 32);
  refuses(currencies, List({"Gold", "gems2", "3"}),
          "resource currencies validation failed: a resource currency can only be A-Z, a-z. String was: gems2.");
  refuses(itemTypes, List({"a:b"}),
          "resource item types validation failed: a resource item type cannot contain other characters than A-z, 0-9, "
          "-_.,:()!?. String was: a:b.");
  EXPECT_TRUE(ZVValidator::validateArrayOfStringsWithArray(std::vector(100, letters(100)), 0, 0, false, ""));
  EXPECT_TRUE(ZVValidator::validateArrayOfStringsWithArray(std::vector<std::string>{}, 1, 1, true, ""));
  EXPECT_FALSE(ZVValidator::validateArrayOfStringsWithArray(std::nullopt, 0, 0, true, ""));
  expectWarning("Array validation failed: array cannot be (null).");
}

// That the keys must be valid, and what is logged when they are not, shows where such events are sent.
TEST_F(Validator, SdkErrorEventsNeedKnownCodes) {
  const auto check = [](int category, int area, int action) {
    return ZVValidator::validateSdkErrorEventWithGameKey(letters(32), letters(40), SdkErrorCategory{category},
                                                         SdkErrorArea{area}, SdkErrorAction{action});
  };
  EXPECT_TRUE(check(5, 21, 35));
  EXPECT_FALSE(check(6, 0, 0));
  expectWarning("Validation fail - sdk error event - category: Category was unsupported value.");
  EXPECT_FALSE(check(1, 22, 0));
  expectWarning("Validation fail - sdk error event - area: Area was unsupported value.");
  EXPECT_FALSE(check(1, 4, 36));
  expectWarning("Validation fail - sdk error event - action: Action was unsupported value.");
}

}  // namespace

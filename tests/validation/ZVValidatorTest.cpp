#include "validation/ZVValidator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "events/SdkError.h"
#include "state/ZVState.h"
#include "support/TestPlatform.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

std::string letters(std::size_t count) { return std::string(count, 'a'); }
const std::string kEmoji = "\xF0\x9F\x98\x80";  // two code units
const std::string kBadText = "bad \xC3";

class Validator : public testing::Test {
 protected:
  TestPlatform platform = TestPlatform::make();
  LogCapture log;
};

using TextRule = bool (*)(ZVText);
struct RuleCase {
  TextRule rule;
  ZVText text;
  bool valid;
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
    for (const ZVText none : {ZVText(), ZVText("")}) {
      EXPECT_TRUE(rule(none, true)) << most;
      EXPECT_FALSE(rule(none, false)) << most;
    }
  }
  std::string wide;  // three bytes a code unit: the longest that fits
  for (int count = 0; count < 32; ++count) wide += "\xE2\x82\xAC";
  EXPECT_TRUE(ZVValidator::validateShortString(wide));
}

TEST_F(Validator, KeysAreOf32And40LettersAndDigits) {
  const std::string secret = letters(40);
  struct Case {
    std::string key, secret;
    bool valid;
  };
  for (const auto& [key, keySecret, valid] :
       {Case{letters(32), secret, true}, Case{letters(31), secret, false}, Case{letters(33), secret, false},
        Case{letters(30) + "_^", secret, true}, Case{letters(31) + "-", secret, false}, Case{"", secret, false},
        Case{letters(32), letters(39), false}, Case{letters(32), letters(38) + "Z9", true}})
    EXPECT_EQ(ZVValidator::validateKeysWithGameKey(key, keySecret), valid) << key << ' ' << keySecret;
}

TEST_F(Validator, ConfigurationValues) {
  for (const auto& [rule, text, valid] : {
           RuleCase{ZVValidator::validateBuild, "1.0", true},
           RuleCase{ZVValidator::validateBuild, "", false},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "unity 2019.4.1", true},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "unity 2019.4.1.2", false},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "unity 123456", false},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "unity ", true},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "unity .", true},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "unity", false},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "Unity 1", false},
           RuleCase{ZVValidator::validateSdkWrapperVersion, "air 1.2", true},
           RuleCase{ZVValidator::validateEngineVersion, "air 1.2", false},
           RuleCase{ZVValidator::validateEngineVersion, "godot 4.2", true},
           RuleCase{ZVValidator::validateEngineVersion, nullptr, false},
           RuleCase{ZVValidator::validateAppVersion, "1.0_rc-2 b", true},
           RuleCase{ZVValidator::validateAppVersion, "1.0+2", false},
           RuleCase{ZVValidator::validateAppBuild, "", false},
           RuleCase{ZVValidator::validateEventPartCharacters, "Boss (1)_-.!?", true},
           RuleCase{ZVValidator::validateEventPartCharacters, "a\tb\xC2\xA0", true},  // white space of any kind
           RuleCase{ZVValidator::validateEventPartCharacters, "a:b", false},
           RuleCase{ZVValidator::validateEventPartCharacters, "a,b", false},
           RuleCase{ZVValidator::validateEventPartCharacters, "\xC3\xA9", false},
           RuleCase{ZVValidator::validateEventPartCharacters, "", false},
       })
    EXPECT_EQ(rule(text), valid) << text.orNull();
  EXPECT_TRUE(ZVValidator::validateAppVersion(letters(64)));
  EXPECT_FALSE(ZVValidator::validateAppVersion(letters(65)));
}

TEST_F(Validator, ClientTimesAreWithinRange) {
  for (const double valid : {1.0, 0.5, 99999999999.0, std::nan("")}) EXPECT_TRUE(ZVValidator::validateClientTs(valid));
  for (const double invalid : {0.0, -1.0, 100000000000.0}) EXPECT_FALSE(ZVValidator::validateClientTs(invalid));
}

TEST_F(Validator, ListsSayWhatIsWrongWithThem) {
  using List = ZVValidator::TextList;
  struct Case {
    bool (*rule)(const List&);
    List list;
    std::string line;
  };  // no line: valid
  const auto dimensions = ZVValidator::validateCustomDimensionsWithCustomDimensions;
  const auto currencies = ZVValidator::validateResourceCurrenciesWithResourceCurrencies;
  const auto itemTypes = ZVValidator::validateResourceItemTypesWithResourceItemTypes;
  for (const auto& [rule, list, line] : {
           Case{dimensions, std::vector(20, letters(32)), ""},
           Case{dimensions, std::nullopt, "custom dimensions validation failed: array cannot be (null)."},
           Case{dimensions, List::value_type{}, "custom dimensions validation failed: array cannot be empty."},
           Case{dimensions, std::vector(21, ""s),
                "custom dimensions validation failed: array cannot exceed 20 values. It has 21 values."},
           Case{dimensions, List({"a", "", kBadText}),
                "custom dimensions validation failed: contained an empty string."},
           Case{dimensions, List({"a", kBadText, ""}),
                "custom dimensions validation failed: was either not a string or null"},
           Case{dimensions, List({letters(33)}),
                "custom dimensions validation failed: a string exceeded max allowed length (which is: 32). String "
                "was: " +
                    letters(33) + "."},
           Case{currencies, List({"Gold", letters(64)}), ""},
           Case{currencies, List({"Gold", "gems2", "3"}),
                "resource currencies validation failed: a resource currency can only be A-Z, a-z. String was: gems2."},
           Case{currencies, List({"2", letters(65)}),
                "resource currencies validation failed: a string exceeded max allowed length (which is: 64). String "
                "was: " +
                    letters(65) + "."},
           Case{itemTypes, List({"Boost (big)"}), ""},
           Case{itemTypes, List({"a:b"}),
                "resource item types validation failed: a resource item type cannot contain other characters than A-z, "
                "0-9, -_.,:()!?. String was: a:b."},
       }) {
    log.clear();
    EXPECT_EQ(rule(list), line.empty()) << line;
    if (line.empty()) EXPECT_THAT(log.lines(), IsEmpty());
    else EXPECT_THAT(log.lines(), ElementsAre("Warning/ZV/Analytics: " + line));
  }
  EXPECT_TRUE(ZVValidator::validateArrayOfStringsWithArray(std::vector(100, letters(100)), 0, 0, false, ""));
  EXPECT_TRUE(ZVValidator::validateArrayOfStringsWithArray(List::value_type{}, 1, 1, true, ""));
  log.clear();
  EXPECT_FALSE(ZVValidator::validateArrayOfStringsWithArray(std::nullopt, 0, 0, true, ""));
  EXPECT_THAT(log.lines(), ElementsAre("Warning/ZV/Analytics: Array validation failed: array cannot be (null)."));
}

TEST_F(Validator, DimensionsAreEmptyOrConfigured) {
  EXPECT_TRUE(ZVValidator::validateDimension01(""));
  EXPECT_FALSE(ZVValidator::validateDimension01("ninja"));
  ZVState::setAvailableCustomDimensions01({{"ninja"}});
  ZVState::setAvailableCustomDimensions03({{"whale"}});
  EXPECT_TRUE(ZVValidator::validateDimension01("ninja"));
  EXPECT_FALSE(ZVValidator::validateDimension01("Ninja"));
  EXPECT_TRUE(ZVValidator::validateDimension02(nullptr));
  EXPECT_FALSE(ZVValidator::validateDimension02("ninja"));
  EXPECT_FALSE(ZVValidator::validateDimension03("ninja"));
  EXPECT_TRUE(ZVValidator::validateDimension03("whale"));
}

const std::string kIdLength =
    "Warning/ZV/Analytics: Validation fail - design event - eventId: Cannot be (null) or empty. Only 5 event parts "
    "allowed seperated by :. Each part need to be 64 characters or less. String: ";
const std::string kIdCharacters =
    "Warning/ZV/Analytics: Validation fail - design event - eventId: Non valid characters. Only allowed A-z, 0-9, -_., "
    "()!?. String: ";

TEST_F(Validator, DesignEventIdsHaveUpToFiveParts) {
  struct Case {
    std::string id;
    int action;
    std::string message;
  };  // action 0: valid
  for (const auto& [id, action, message] : {
           Case{"Level one:Boss kill", 0, ""},
           Case{"a:b:c:d:e", 0, ""},
           Case{letters(64) + ":" + letters(64), 0, ""},
           Case{"a:b:c:d:e:f", kActionInvalidEventIdLength, kIdLength},
           Case{letters(65), kActionInvalidEventIdLength, kIdLength},
           Case{"a:" + letters(65), kActionInvalidEventIdLength, kIdLength},
           Case{"a::b", kActionInvalidEventIdLength, kIdLength},
           Case{"a:", kActionInvalidEventIdLength, kIdLength},
           Case{"", kActionInvalidEventIdLength, kIdLength},
           Case{kBadText, kActionInvalidEventIdLength, kIdLength},
           Case{"a:b,c", kActionInvalidEventIdCharacters, kIdCharacters},
           Case{"\xC3\xA9", kActionInvalidEventIdCharacters, kIdCharacters},
       }) {
    log.clear();
    const auto result = ZVValidator::validateDesignEventWithEventId(id);
    ASSERT_EQ(result.has_value(), action != 0) << id;
    if (!result) {
      EXPECT_THAT(log.lines(), IsEmpty()) << id;
      continue;
    }
    EXPECT_EQ(result->category, kCategoryEventValidation);
    EXPECT_EQ(result->area, kAreaDesign);
    EXPECT_EQ(result->action, action) << id;
    EXPECT_EQ(result->parameter, kParameterEventId);
    EXPECT_EQ(result->reason, id);
    EXPECT_THAT(log.lines(), ElementsAre(message + id));
  }
  log.clear();
  EXPECT_EQ(ZVValidator::validateDesignEventWithEventId(nullptr)->reason, std::nullopt);
  EXPECT_THAT(log.lines(), ElementsAre(kIdLength + "(null)"));
}

TEST_F(Validator, ErrorEventsNeedAKnownSeverityFirst) {
  struct Case {
    int severity;
    std::string message;
    int action, parameter;
    std::string reason, line;
  };
  for (const auto& [severity, message, action, parameter, reason, line] : {
           Case{1, "", 0, 0, "", ""},
           Case{5, letters(8192), 0, 0, "", ""},
           Case{0, letters(8193), kActionInvalidSeverity, kParameterSeverity, "",
                "severity: Severity was unsupported value."},
           Case{6, "", kActionInvalidSeverity, kParameterSeverity, "", "severity: Severity was unsupported value."},
           Case{3, letters(8193), kActionInvalidLongString, kParameterMessage, letters(8193),
                "message: Message cannot be above 8192 characters."},
           Case{3, kBadText, kActionInvalidLongString, kParameterMessage, kBadText,
                "message: Message cannot be above 8192 characters."},
       }) {
    log.clear();
    const auto result = ZVValidator::validateErrorEventWithSeverity(static_cast<ZVErrorSeverity>(severity), message);
    ASSERT_EQ(result.has_value(), action != 0) << severity;
    if (!result) continue;
    EXPECT_EQ(result->area, kAreaError);
    EXPECT_EQ(result->action, action);
    EXPECT_EQ(result->parameter, parameter);
    EXPECT_EQ(result->reason, reason);
    EXPECT_THAT(log.lines(), ElementsAre("Warning/ZV/Analytics: Validation fail - error event - " + line));
  }
  EXPECT_FALSE(ZVValidator::validateErrorEventWithSeverity(ZVErrorSeverity::info, nullptr));
}

TEST_F(Validator, SdkErrorEventsAreCheckedKeysFirst) {
  struct Case {
    std::string key;
    int category, area, action;
    std::string line;
  };
  const std::string key = letters(32);
  const std::string secret = letters(40);
  for (const auto& [gameKey, category, area, action, line] : {
           Case{key, 1, 4, 12, ""},
           Case{key, 5, 21, 35, ""},
           Case{"short", 0, 0, 0,
                "validateSdkErrorEvent failed. Game key or secret key is invalid. Can only contain characters A-z 0-9, "
                "gameKey is 32 length, gameSecret is 40 length. Failed keys - gameKey: short, secretKey: " +
                    secret},
           Case{key, 6, 0, 0, "Validation fail - sdk error event - category: Category was unsupported value."},
           Case{key, 1, 22, 0, "Validation fail - sdk error event - area: Area was unsupported value."},
           Case{key, 1, 4, 36, "Validation fail - sdk error event - action: Action was unsupported value."},
       }) {
    log.clear();
    EXPECT_EQ(ZVValidator::validateSdkErrorEventWithGameKey(gameKey, secret, category, area, action), line.empty());
    if (line.empty()) EXPECT_THAT(log.lines(), IsEmpty());
    else EXPECT_THAT(log.lines(), ElementsAre("Warning/ZV/Analytics: " + line));
  }
}

}  // namespace

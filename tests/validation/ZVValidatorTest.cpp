#include "validation/ZVValidator.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

using namespace std::string_literals;
using V = ZVValidator;

std::string letters(std::size_t count) { return std::string(count, 'a'); }
const std::string kEmoji = "\xF0\x9F\x98\x80";  // two code units
const std::string kBadText = "bad \xC3";
const std::string k32 = letters(32), k33 = letters(33), k64 = letters(64), k65 = letters(65);

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
  using Tier = std::pair<bool (*)(ZVText, bool), std::size_t>;
  for (const auto& [rule, most] :
       {Tier{V::validateShortString, 32}, Tier{V::validateString, 64}, Tier{V::validateMediumString, 256},
        Tier{V::validateLongString, 8192}, Tier{V::validateEventPartLength, 64}}) {
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
  EXPECT_TRUE(V::validateShortString(wide));
}

TEST_F(Validator, KeysAreOf32And40LettersAndDigits) {
  using Case = std::tuple<std::string, std::string, bool>;
  for (const auto& [key, keySecret, valid] :
       {Case{letters(30) + "_^", letters(38) + "Z9", true}, Case{letters(31), letters(40), false},
        Case{letters(33), letters(40), false}, Case{letters(31) + "-", letters(40), false},
        Case{letters(32), letters(39), false}})
    EXPECT_EQ(V::validateKeysWithGameKey(key, keySecret), valid) << key << ' ' << keySecret;
}

TEST_F(Validator, ConfigurationValues) {
  using Case = std::tuple<bool (*)(ZVText), std::vector<ZVText>, std::vector<ZVText>>;
  for (const auto& [rule, valid, invalid] : {
           Case{V::validateSdkWrapperVersion,
                {"unity 2019.4.1", "unity ", "unity .", "air 1.2"},
                {"unity 2019.4.1.2", "unity 123456", "unity", "Unity 1", nullptr}},
           Case{V::validateEngineVersion, {"godot 4.2"}, {"air 1.2", nullptr}},
           Case{V::validateAppVersion, {"1.0_rc-2 b", k64}, {"1.0+2", k65}},
           Case{V::validateAppBuild, {k64}, {"", k65}},
           Case{V::validateBuild, {k32}, {"", k33}},
           Case{V::validateCustomUserId, {k64}, {"", k65}},
           Case{V::validateEventPartCharacters,
                {"Boss (1)_-.!?", "a\tb\xC2\xA0"},  // white space of any kind
                {"a:b", "a,b", "\xC3\xA9", ""}},
       }) {
    for (const ZVText text : valid) EXPECT_TRUE(rule(text)) << text.orNull();
    for (const ZVText text : invalid) EXPECT_FALSE(rule(text)) << text.orNull();
  }
}

TEST_F(Validator, ListsSayWhatIsWrongWithThem) {
  using List = ZVTextList;
  const auto dimensions = V::validateCustomDimensionsWithCustomDimensions;
  const auto currencies = V::validateResourceCurrenciesWithResourceCurrencies;
  const auto itemTypes = V::validateResourceItemTypesWithResourceItemTypes;
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
}

// That the keys must be valid, and what is logged when they are not, shows where such events are sent.
TEST_F(Validator, SdkErrorEventsNeedKnownCodes) {
  const auto check = [](int category, int area, int action) {
    return V::validateSdkErrorEventWithGameKey(letters(32), letters(40), SdkErrorCategory{category}, SdkErrorArea{area},
                                               SdkErrorAction{action});
  };
  const std::string line = "Validation fail - sdk error event - ";
  EXPECT_TRUE(check(5, 21, 35));
  EXPECT_FALSE(check(6, 0, 0));
  expectWarning(line + "category: Category was unsupported value.");
  EXPECT_FALSE(check(1, 22, 0));
  expectWarning(line + "area: Area was unsupported value.");
  EXPECT_FALSE(check(1, 4, 36));
  expectWarning(line + "action: Action was unsupported value.");
}

using Result = std::optional<ValidationResult>;

const ZVText kNoNames[] = {k65, "", {}};

constexpr auto business = V::validateBusinessEventWithCurrency;
constexpr auto design = V::validateDesignEventWithEventId;
constexpr auto impression = V::validateImpressionEventWithAdNetworkName;
Result resource(int flowType, ZVText currency, std::optional<double> amount, ZVText itemType, ZVText itemId) {
  return V::validateResourceEventWithFlowType(ZVResourceFlowType{flowType}, currency, amount, itemType, itemId,
                                              {"gems"}, {"boost", k32});
}
Result progression(int status, ZVText first, ZVText second = {}, ZVText third = {}) {
  return V::validateProgressionEventWithProgressionStatus(ZVProgressionStatus{status}, first, second, third);
}
Result error(int severity, ZVText message) {
  return V::validateErrorEventWithSeverity(ZVErrorSeverity{severity}, message);
}
Result ad(int action, int type, ZVText sdkName, ZVText placement) {
  return V::validateAdEventWithAction(ZVAdAction{action}, ZVAdType{type}, sdkName, placement);
}

class EventRules : public Validator {
 protected:
  void expectValid(const std::vector<Result>& results) {
    for (const Result& result : results) EXPECT_FALSE(result) << "number " << &result - results.data();
    EXPECT_EQ(log.lines(), std::vector<std::string>{});
  }

  // Area, action and parameter as they are coded; the warning after its beginning. One that ends with a blank goes on
  // with the reason.
  void expectRefused(const Result& result, std::array<int, 3> codes, ZVText reason, std::string line) {
    ASSERT_TRUE(result) << line;
    EXPECT_EQ(result->category, SdkErrorCategory::eventValidation);
    EXPECT_EQ((std::array{static_cast<int>(result->area), static_cast<int>(result->action),
                          static_cast<int>(result->parameter)}),
              codes)
        << line;
    EXPECT_EQ(result->reason.value_or(""), reason.view()) << line;
    if (line.ends_with(' ')) line += reason.orNull();
    if (line.empty()) EXPECT_TRUE(log.lines().empty());
    else expectWarning("Validation fail - " + line);
  }
};

const std::string kPartLong = "Cannot be (null), empty or above 64 characters. String: ";
const std::string kPartCharacters = "Cannot contain other characters than A-z, 0-9, -_., ()!?. String: ";

TEST_F(EventRules, Business) {
  expectValid({business("USD", 0, "", "pack", "small"), business("USD", 0, k32, k64, k64),
               business("USD", std::numeric_limits<std::int64_t>::max(), {}, "pack", "small")});
  for (const ZVText currency : {"usd", "US", "USDX", "US1", ""})
    expectRefused(business(currency, -1, "", "pack", "small"), {1, 1, 1}, currency,
                  "business event - currency: Cannot be (null) and need to be A-Z, 3 characters and in the standard at "
                  "iso.org. Failed currency: ");
  expectRefused(business("USD", -1, k33, "pack", "small"), {1, 9, 7}, "-1",
                "business event - amount. Cannot be less than 0. Failed amount: ");
  expectRefused(business("USD", 0, k33, "", "small"), {1, 2, 2}, k33,
                "business event - cartType. Cannot be null, empty or above 32 length. String: ");
  for (const ZVText bad : kNoNames) {
    expectRefused(business("USD", 0, "", bad, ""), {1, 3, 3}, bad, "business event - itemType: " + kPartLong);
    expectRefused(business("USD", 0, "", "pack", bad), {1, 3, 4}, bad, "business event - itemId. " + kPartLong);
  }
  expectRefused(business("USD", 0, "", "a:b", "small"), {1, 4, 3}, "a:b",
                "business event - itemType: " + kPartCharacters);
  expectRefused(business("USD", 0, "", "pack", "a,b"), {1, 4, 4}, "a,b", "business event - itemId: " + kPartCharacters);
}

TEST_F(EventRules, Resource) {
  expectValid({resource(2, "gems", 0.5, "boost", "speed"), resource(1, "gems", 1e-45, k32, k64)});
  for (const int flowType : {0, 3, -1})
    expectRefused(resource(flowType, "", 1, "boost", "speed"), {2, 6, 6}, "",
                  "resource event - flowType: Invalid flow type.");
  for (const ZVText none : {ZVText(), ZVText("")}) {
    expectRefused(resource(2, none, 0, "boost", "speed"), {2, 7, 1}, "", "resource event - currency: Cannot be (null)");
    expectRefused(resource(2, "gems", 1, none, ""), {2, 7, 3}, "", "resource event - itemType: Cannot be (null)");
  }
  expectRefused(resource(2, "Gems", 0, "boost", "speed"), {2, 8, 1}, "Gems",
                "resource event - currency: Not found in list of pre-defined available resource currencies. String: ");
  expectRefused(resource(2, "gems", {}, "", "speed"), {2, 9, 7}, "", "resource event - amount: Cannot be (null).");
  for (const auto& [amount, text] : {std::pair{0.0, "0"}, {-2.0, "-2"}, {-0.5, "-0.5"}, {1e-46, "1e-46"}})
    expectRefused(resource(2, "gems", amount, "", "speed"), {2, 9, 7}, text,
                  "resource event - amount: Float amount cannot be 0 or negative. Value: ");
  expectRefused(resource(2, "gems", 1, k65, "speed"), {2, 3, 3}, k65, "resource event - itemType: " + kPartLong);
  expectRefused(resource(2, "gems", 1, "a:b", "speed"), {2, 4, 3}, "a:b",
                "resource event - itemType: " + kPartCharacters);
  expectRefused(resource(2, "gems", 1, "armour", ""), {2, 10, 3}, "armour",
                "resource event - itemType: Not found in list of pre-defined available resource itemTypes. String: ");
  for (const ZVText bad : kNoNames)
    expectRefused(resource(2, "gems", 1, "boost", bad), {2, 3, 4}, bad, "resource event - itemId: " + kPartLong);
  expectRefused(resource(2, "gems", 1, "boost", "a:b"), {2, 4, 4}, "a:b",
                "resource event - itemId: Cannot contain other characters than A-z, 0-9, -_., ():!?. String: ");
}

TEST_F(EventRules, Progression) {
  expectValid({progression(1, "world"), progression(3, k64, k64, k64), progression(2, "a", "", ""),
               progression(2, "a", "b", "")});
  for (const int status : {0, 4})
    expectRefused(progression(status, ""), {3, 15, 12}, "", "progression event: Invalid progression status.");
  const std::string third =
      "progression event: 03 found but 01+02 are invalid. Progression must be set as either 01, 01+02 or 01+02+03.";
  const std::string second =
      "progression event: 02 found but not 01. Progression must be set as either 01, 01+02 or 01+02+03";
  const std::string first =
      "progression event: progression01 not valid. Progressions must be set as either 01, 01+02 or 01+02+03";
  expectRefused(progression(1, "a", "", "c"), {3, 11, 0}, "a::c", third);
  expectRefused(progression(1, "a", {}, "c"), {3, 11, 0}, "a:(null):c", third);
  expectRefused(progression(1, "", "b", ""), {3, 11, 0}, ":b:", second);
  expectRefused(progression(1, "", "b", "c"), {3, 11, 0}, ":b:c", second);
  expectRefused(progression(1, "", "", "c"), {3, 11, 0}, "::c", first);
  expectRefused(progression(1, {}), {3, 11, 0}, "(null):(null):(null)", first);
  const auto refusesPart = [&](const Result& result, const std::string& number, int action, ZVText text,
                               const std::string& line) {
    expectRefused(result, {3, action, 7 + number[1] - '0'}, text, "progression event - progression" + number + line);
  };
  const std::string later = ": Cannot be empty or above 64 characters. String: ", characters = ": " + kPartCharacters;
  refusesPart(progression(1, k65, k65), "01", 3, k65, ": " + kPartLong);
  refusesPart(progression(1, "a:b", k65), "01", 4, "a:b", characters);
  refusesPart(progression(1, "a", k65, k65), "02", 3, k65, later);
  refusesPart(progression(1, "a", "a:b", k65), "02", 4, "a:b", characters);
  refusesPart(progression(1, "a", "b", k65), "03", 3, k65, later);
  refusesPart(progression(1, "a", "b", "a:b"), "03", 4, "a:b", characters);
}

TEST_F(EventRules, Design) {
  expectValid({design("Level one:Boss kill"), design("a:b:c:d:e"), design(k64 + ":" + k64)});
  const std::string long2 = "a:" + k65;
  for (const ZVText id : {ZVText("a:b:c:d:e:f"), ZVText(k65), ZVText(long2), ZVText("a::b"), ZVText("a:"), ZVText()})
    expectRefused(design(id), {4, 12, 11}, id,
                  "design event - eventId: Cannot be (null) or empty. Only 5 event parts allowed seperated by :. Each "
                  "part need to be 64 characters or less. String: ");
  for (const ZVText id : {"a:b,c", "\xC3\xA9"})
    expectRefused(design(id), {4, 13, 11}, id,
                  "design event - eventId: Non valid characters. Only allowed A-z, 0-9, -_., ()!?. String: ");
}

TEST_F(EventRules, Error) {
  const std::string tooLong = letters(8193);
  expectValid({error(1, {}), error(5, letters(8192))});
  for (const int severity : {0, 6})
    expectRefused(error(severity, tooLong), {5, 16, 13}, "", "error event - severity: Severity was unsupported value.");
  expectRefused(error(3, tooLong), {5, 17, 14}, tooLong,
                "error event - message: Message cannot be above 8192 characters.");
}

TEST_F(EventRules, Ad) {
  expectValid({ad(6, 6, "sdk", "main"), ad(1, 1, k32, k64)});
  for (const int bad : {0, 7}) {
    expectRefused(ad(bad, bad, "sdk", "main"), {20, 31, 15}, "", "ad event - action: Ad action was unsupported value.");
    expectRefused(ad(1, bad, "", "main"), {20, 32, 16}, "", "ad event - adType: Ad type was unsupported value.");
  }
  for (const ZVText name : {ZVText(k33), ZVText(""), ZVText()})
    expectRefused(ad(1, 1, name, ""), {20, 2, 17}, name,
                  "ad event - adSdkName: Ad SDK name cannot be above 32 characters.");
  for (const ZVText placement : kNoNames)
    expectRefused(ad(1, 1, "sdk", placement), {20, 33, 18}, placement,
                  "ad event - adPlacement: Ad placement cannot be above 64 characters.");
}

TEST_F(EventRules, Impression) {
  const ZVMap data{{"revenue", 1}};
  for (const ZVText name : {"mopub", "fyber", "ironsource", "topon", "hyperbid", "max", "aequus", "admob"})
    expectValid({impression(name, ".", data), impression(name, "12345...12345", data)});
  for (const ZVText name : {ZVText("AdMob"), ZVText(""), ZVText()})
    expectRefused(impression(name, "x", data), {21, 34, 19}, name, "");
  for (const ZVText version : {ZVText("1.2.3.4.5"), ZVText("123456"), ZVText("1a"), ZVText(""), ZVText()})
    expectRefused(impression("max", version, {}), {21, 36, 21}, version, "");
  expectRefused(impression("max", "1", {}), {21, 35, 20}, "", "");
}

// In any place, and not for its length or its characters.
TEST_F(EventRules, RefusesBytesThatAreNoText) {
  const ZVText bad = kBadText;
  const auto refusedFor = [&](const Result& result, int area, int parameter, const std::string& place) {
    expectRefused(result, {area, 33, parameter}, "", place + ": Must be valid UTF-8. String: bad \xEF\xBF\xBD");
  };
  refusedFor(business(bad, 0, "", "pack", "small"), 1, 1, "business event - currency");
  refusedFor(business("USD", 0, bad, "pack", "small"), 1, 2, "business event - cart_type");
  refusedFor(business("USD", 0, "", bad, "small"), 1, 3, "business event - item_type");
  refusedFor(business("USD", 0, "", "pack", bad), 1, 4, "business event - item_id");
  refusedFor(resource(2, bad, 1, "boost", "speed"), 2, 1, "resource event - currency");
  refusedFor(resource(2, "gems", 1, bad, "speed"), 2, 3, "resource event - item_type");
  refusedFor(resource(2, "gems", 1, "boost", bad), 2, 4, "resource event - item_id");
  refusedFor(progression(1, bad), 3, 8, "progression event - progression01");
  refusedFor(progression(1, "a", bad), 3, 9, "progression event - progression02");
  refusedFor(progression(1, "a", "b", bad), 3, 10, "progression event - progression03");
  refusedFor(design(bad), 4, 11, "design event - event_id");
  refusedFor(error(3, bad), 5, 14, "error event - message");
  refusedFor(ad(1, 1, bad, "main"), 20, 17, "ad event - ad_sdk_name");
  refusedFor(ad(1, 1, "sdk", bad), 20, 18, "ad event - ad_placement");
  refusedFor(impression(bad, "1", {}), 21, 19, "impression event - ad_network");
  refusedFor(impression("max", bad, {}), 21, 21, "impression event - ad_network_version");
}

}  // namespace

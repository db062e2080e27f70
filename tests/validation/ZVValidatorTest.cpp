#include "validation/ZVValidator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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

using testing::ElementsAre;
using Result = std::optional<ValidationResult>;
using V = ZVValidator;

const std::string k32(32, 'a'), k33(33, 'a'), k64(64, 'a'), k65(65, 'a');

// Arguments that pass; a case changes what it is about.
struct Business {
  ZVText currency = "USD";
  std::int64_t amount = 0;
  ZVText cartType = "", itemType = "pack", itemId = "small";
  Result check() const { return V::validateBusinessEventWithCurrency(currency, amount, cartType, itemType, itemId); }
};
struct Resource {
  int flowType = 2;
  ZVText currency = "gems";
  std::optional<double> amount = 0.5;
  ZVText itemType = "boost", itemId = "speed";
  Result check() const {
    return V::validateResourceEventWithFlowType(static_cast<ZVResourceFlowType>(flowType), currency, amount, itemType,
                                                itemId, std::vector<std::string>{"gems"},
                                                std::vector<std::string>{"boost", k32});
  }
};
struct Progression {
  int status = 1;
  ZVText p1 = "world", p2 = {}, p3 = {};
  Result check() const {
    return V::validateProgressionEventWithProgressionStatus(static_cast<ZVProgressionStatus>(status), p1, p2, p3);
  }
};
struct Design {
  ZVText eventId;
  Result check() const { return V::validateDesignEventWithEventId(eventId); }
};
struct Error {
  int severity = 5;
  ZVText message;
  Result check() const { return V::validateErrorEventWithSeverity(static_cast<ZVErrorSeverity>(severity), message); }
};
struct Ad {
  int action = 6, type = 6;
  ZVText sdkName = "sdk", placement = "main";
  Result check() const {
    return V::validateAdEventWithAction(static_cast<ZVAdAction>(action), static_cast<ZVAdType>(type), sdkName,
                                        placement);
  }
};
struct Impression {
  ZVText name = "admob", version = "1.2.3.4";
  ZVMap data = {{"revenue", 1}};
  Result check() const { return V::validateImpressionEventWithAdNetworkName(name, version, data); }
};

class EventRules : public testing::Test {
 protected:
  template <class... Arguments>
  void expectValid(const Arguments&... arguments) {
    std::size_t number = 0;
    for (const Result& result : {arguments.check()...}) {
      ++number;
      EXPECT_FALSE(result) << "number " << number;
    }
    EXPECT_THAT(log.lines(), ElementsAre());
  }

  // Area, action and parameter as they are coded; the warning after its beginning, and then what it shows.
  template <class Arguments>
  void expectRefused(const Arguments& arguments, std::array<int, 3> codes, ZVText reason, const std::string& line) {
    const Result result = arguments.check();
    ASSERT_TRUE(result) << line;
    EXPECT_EQ(result->category, SdkErrorCategory::eventValidation);
    EXPECT_THAT((std::array{static_cast<int>(result->area), static_cast<int>(result->action),
                            static_cast<int>(result->parameter)}),
                testing::ElementsAreArray(codes))
        << line;
    EXPECT_EQ(result->reason.value_or(""), reason.view()) << line;
    if (line.empty()) EXPECT_THAT(log.lines(), ElementsAre());
    else EXPECT_THAT(log.lines(), ElementsAre("Warning/ZV/Analytics: Validation fail - " + line));
    log.clear();
  }

  TestPlatform platform = TestPlatform::make();
  LogCapture log;
};

const std::string kPartLong = "Cannot be (null), empty or above 64 characters. String: ";
const std::string kPartCharacters = "Cannot contain other characters than A-z, 0-9, -_., ()!?. String: ";

TEST_F(EventRules, Business) {
  expectValid(Business{}, Business{.cartType = k32, .itemType = k64, .itemId = k64}, Business{.cartType = {}},
              Business{.amount = std::numeric_limits<std::int64_t>::max()});
  for (const ZVText currency : {"usd", "US", "USDX", "US1", ""})
    expectRefused(Business{.currency = currency, .amount = -1}, {1, 1, 1}, currency,
                  "business event - currency: Cannot be (null) and need to be A-Z, 3 characters and in the standard at "
                  "iso.org. Failed currency: " +
                      std::string(currency.view()));
  expectRefused(Business{.amount = -1, .cartType = k33}, {1, 9, 7}, "-1",
                "business event - amount. Cannot be less than 0. Failed amount: -1");
  expectRefused(Business{.cartType = k33, .itemType = ""}, {1, 2, 2}, k33,
                "business event - cartType. Cannot be null, empty or above 32 length. String: " + k33);
  for (const ZVText bad : {ZVText(k65), ZVText(""), ZVText()}) {
    const std::string shown(bad.orNull());
    expectRefused(Business{.itemType = bad, .itemId = ""}, {1, 3, 3}, bad,
                  "business event - itemType: " + kPartLong + shown);
    expectRefused(Business{.itemId = bad}, {1, 3, 4}, bad, "business event - itemId. " + kPartLong + shown);
  }
  expectRefused(Business{.itemType = "a:b"}, {1, 4, 3}, "a:b", "business event - itemType: " + kPartCharacters + "a:b");
  expectRefused(Business{.itemId = "a,b"}, {1, 4, 4}, "a,b", "business event - itemId: " + kPartCharacters + "a,b");
}

TEST_F(EventRules, Resource) {
  expectValid(Resource{}, Resource{.flowType = 1, .itemType = k32, .itemId = k64}, Resource{.amount = 1e-45});
  for (const int flowType : {0, 3, -1})
    expectRefused(Resource{.flowType = flowType, .currency = ""}, {2, 6, 6}, "",
                  "resource event - flowType: Invalid flow type.");
  for (const ZVText none : {ZVText(), ZVText("")})
    expectRefused(Resource{.currency = none, .amount = 0}, {2, 7, 1}, "",
                  "resource event - currency: Cannot be (null)");
  expectRefused(Resource{.currency = "Gems", .amount = 0}, {2, 8, 1}, "Gems",
                "resource event - currency: Not found in list of pre-defined available resource currencies. String: "
                "Gems");
  expectRefused(Resource{.amount = {}, .itemType = ""}, {2, 9, 7}, "", "resource event - amount: Cannot be (null).");
  for (const auto& [amount, text] : {std::pair{0.0, "0"}, {-2.0, "-2"}, {-0.5, "-0.5"}, {1e-46, "1e-46"}})
    expectRefused(Resource{.amount = amount, .itemType = ""}, {2, 9, 7}, text,
                  std::string("resource event - amount: Float amount cannot be 0 or negative. Value: ") + text);
  for (const ZVText none : {ZVText(), ZVText("")})
    expectRefused(Resource{.itemType = none, .itemId = ""}, {2, 7, 3}, "",
                  "resource event - itemType: Cannot be (null)");
  expectRefused(Resource{.itemType = k65}, {2, 3, 3}, k65, "resource event - itemType: " + kPartLong + k65);
  expectRefused(Resource{.itemType = "a:b"}, {2, 4, 3}, "a:b", "resource event - itemType: " + kPartCharacters + "a:b");
  expectRefused(Resource{.itemType = "armour", .itemId = ""}, {2, 10, 3}, "armour",
                "resource event - itemType: Not found in list of pre-defined available resource itemTypes. String: "
                "armour");
  for (const ZVText bad : {ZVText(k65), ZVText(""), ZVText()})
    expectRefused(Resource{.itemId = bad}, {2, 3, 4}, bad,
                  "resource event - itemId: " + kPartLong + std::string(bad.orNull()));
  expectRefused(Resource{.itemId = "a:b"}, {2, 4, 4}, "a:b",
                "resource event - itemId: Cannot contain other characters than A-z, 0-9, -_., ():!?. String: a:b");
}

TEST_F(EventRules, Progression) {
  expectValid(Progression{}, Progression{3, k64, k64, k64}, Progression{2, "a", "", ""}, Progression{2, "a", "b", ""});
  for (const int status : {0, 4})
    expectRefused(Progression{status, ""}, {3, 15, 12}, "", "progression event: Invalid progression status.");
  const std::string third =
      "progression event: 03 found but 01+02 are invalid. Progression must be set as either 01, 01+02 or 01+02+03.";
  const std::string second =
      "progression event: 02 found but not 01. Progression must be set as either 01, 01+02 or 01+02+03";
  const std::string first =
      "progression event: progression01 not valid. Progressions must be set as either 01, 01+02 or 01+02+03";
  expectRefused(Progression{1, "a", "", "c"}, {3, 11, 0}, "a::c", third);
  expectRefused(Progression{1, "a", {}, "c"}, {3, 11, 0}, "a:(null):c", third);
  expectRefused(Progression{1, "", "b", ""}, {3, 11, 0}, ":b:", second);
  expectRefused(Progression{1, "", "b", "c"}, {3, 11, 0}, ":b:c", second);
  expectRefused(Progression{1, "", "", "c"}, {3, 11, 0}, "::c", first);
  expectRefused(Progression{1, {}, {}, {}}, {3, 11, 0}, "(null):(null):(null)", first);
  const std::string later = "Cannot be empty or above 64 characters. String: ";
  expectRefused(Progression{1, k65, k65}, {3, 3, 8}, k65, "progression event - progression01: " + kPartLong + k65);
  expectRefused(Progression{1, "a:b", k65}, {3, 4, 8}, "a:b",
                "progression event - progression01: " + kPartCharacters + "a:b");
  expectRefused(Progression{1, "a", k65, k65}, {3, 3, 9}, k65, "progression event - progression02: " + later + k65);
  expectRefused(Progression{1, "a", "a:b", k65}, {3, 4, 9}, "a:b",
                "progression event - progression02: " + kPartCharacters + "a:b");
  expectRefused(Progression{1, "a", "b", k65}, {3, 3, 10}, k65, "progression event - progression03: " + later + k65);
  expectRefused(Progression{1, "a", "b", "a:b"}, {3, 4, 10}, "a:b",
                "progression event - progression03: " + kPartCharacters + "a:b");
}

TEST_F(EventRules, Design) {
  const std::string two = k64 + ":" + k64, long2 = "a:" + k65;
  expectValid(Design{"Level one:Boss kill"}, Design{"a:b:c:d:e"}, Design{two});
  for (const ZVText id :
       {ZVText("a:b:c:d:e:f"), ZVText(k65), ZVText(long2), ZVText("a::b"), ZVText("a:"), ZVText(""), ZVText()})
    expectRefused(Design{id}, {4, 12, 11}, id,
                  "design event - eventId: Cannot be (null) or empty. Only 5 event parts allowed seperated by :. Each "
                  "part need to be 64 characters or less. String: " +
                      std::string(id.orNull()));
  for (const ZVText id : {"a:b,c", "\xC3\xA9"})
    expectRefused(Design{id}, {4, 13, 11}, id,
                  "design event - eventId: Non valid characters. Only allowed A-z, 0-9, -_., ()!?. String: " +
                      std::string(id.view()));
}

TEST_F(EventRules, Error) {
  const std::string longest(8192, 'm'), tooLong(8193, 'm');
  expectValid(Error{1, {}}, Error{5, ""}, Error{5, longest});
  for (const int severity : {0, 6})
    expectRefused(Error{severity, tooLong}, {5, 16, 13}, "", "error event - severity: Severity was unsupported value.");
  expectRefused(Error{3, tooLong}, {5, 17, 14}, tooLong,
                "error event - message: Message cannot be above 8192 characters.");
}

TEST_F(EventRules, Ad) {
  expectValid(Ad{}, Ad{1, 1, k32, k64});
  for (const int bad : {0, 7}) {
    expectRefused(Ad{bad, bad}, {20, 31, 15}, "", "ad event - action: Ad action was unsupported value.");
    expectRefused(Ad{1, bad, ""}, {20, 32, 16}, "", "ad event - adType: Ad type was unsupported value.");
  }
  for (const ZVText name : {ZVText(k33), ZVText(""), ZVText()})
    expectRefused(Ad{1, 1, name, ""}, {20, 2, 17}, name,
                  "ad event - adSdkName: Ad SDK name cannot be above 32 characters.");
  for (const ZVText placement : {ZVText(k65), ZVText(""), ZVText()})
    expectRefused(Ad{1, 1, "sdk", placement}, {20, 33, 18}, placement,
                  "ad event - adPlacement: Ad placement cannot be above 64 characters.");
}

TEST_F(EventRules, Impression) {
  for (const ZVText name : {"mopub", "fyber", "ironsource", "topon", "hyperbid", "max", "aequus", "admob"})
    expectValid(Impression{name}, Impression{name, "."}, Impression{name, "12345...12345"});
  for (const ZVText name : {ZVText("AdMob"), ZVText(""), ZVText()})
    expectRefused(Impression{name, "x"}, {21, 34, 19}, name, "");
  for (const ZVText version : {ZVText("1.2.3.4.5"), ZVText("123456"), ZVText("1a"), ZVText(""), ZVText()})
    expectRefused(Impression{"max", version, {}}, {21, 36, 21}, version, "");
  expectRefused(Impression{"max", "1", {}}, {21, 35, 20}, "", "");
}

// In any place, and not for its length or its characters.
TEST_F(EventRules, RefusesBytesThatAreNoText) {
  const auto refusedFor = [&](const auto& arguments, int area, int parameter, const std::string& place) {
    const std::string line = place + ": Must be valid UTF-8. String: bad \xEF\xBF\xBD";
    expectRefused(arguments, {area, 33, parameter}, "", line);
  };
  const ZVText bad = kBadText;
  refusedFor(Business{.currency = bad}, 1, 1, "business event - currency");
  refusedFor(Business{.cartType = bad}, 1, 2, "business event - cart_type");
  refusedFor(Business{.itemType = bad}, 1, 3, "business event - item_type");
  refusedFor(Business{.itemId = bad}, 1, 4, "business event - item_id");
  refusedFor(Resource{.currency = bad}, 2, 1, "resource event - currency");
  refusedFor(Resource{.itemType = bad}, 2, 3, "resource event - item_type");
  refusedFor(Resource{.itemId = bad}, 2, 4, "resource event - item_id");
  refusedFor(Progression{1, bad}, 3, 8, "progression event - progression01");
  refusedFor(Progression{1, "a", bad}, 3, 9, "progression event - progression02");
  refusedFor(Progression{1, "a", "b", bad}, 3, 10, "progression event - progression03");
  refusedFor(Design{bad}, 4, 11, "design event - event_id");
  refusedFor(Error{3, bad}, 5, 14, "error event - message");
  refusedFor(Ad{1, 1, bad}, 20, 17, "ad event - ad_sdk_name");
  refusedFor(Ad{1, 1, "sdk", bad}, 20, 18, "ad event - ad_placement");
  refusedFor(Impression{bad}, 21, 19, "impression event - ad_network");
  refusedFor(Impression{"max", bad}, 21, 21, "impression event - ad_network_version");
}

}  // namespace

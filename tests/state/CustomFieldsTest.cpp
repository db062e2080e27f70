#include <gmock/gmock.h>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::SizeIs;

TEST(CustomFields, AreKeptOrLeftOutOneByOneWithAWarningAndAnErrorEvent) {
  struct Case {
    std::string key;
    ZVValue value;
    std::string because;  // "" when it is kept
  };
  const std::string emoji = "\xF0\x9F\x98\x80";  // two code units
  std::string half;
  for (int i = 0; i < 128; ++i) half += emoji;
  const std::string badKey =
      "its key contains illegal character, is empty or exceeds the max number of characters (64)";
  const std::string badLength = "its value is an empty string or exceeds the max number of characters (256)";
  const std::string badType = "its value is not a string or number";
  Game game;
  game.start();
  for (const auto& [key, value, because] :
       {Case{std::string(64, 'k'), 1, ""}, Case{std::string(65, 'k'), 1, badKey}, Case{"", 1, badKey},
        Case{"with-hyphen", 1, badKey}, Case{"with blank", 1, badKey}, Case{"\xC3\xA9", 1, badKey},
        Case{"text", std::string(256, 'v'), ""}, Case{"text", std::string(257, 'v'), badLength},
        Case{"text", "", badLength}, Case{"emoji", half, ""}, Case{"emoji", half + "x", badLength},
        Case{"bytes", "bad \xC3", "its value is not valid UTF-8"}, Case{"true", true, ""}, Case{"double", -0.5, ""},
        Case{"array", ZVValue::Array{1}, badType}, Case{"map", ZVMap{{"a", 1}}, badType},
        Case{"null", nullptr, "its key or value is null"}}) {
    game.log.clear();
    ZVMap kept;
    game.onQueue([&, &k = key, &v = value] { kept = ZVEvents::validateAndCleanCustomFields({{k, v}}); });
    EXPECT_EQ(kept.size(), because.empty() ? 1U : 0U) << key;
    EXPECT_EQ(game.log.count("has been omitted because " + because), because.empty() ? 0U : 1U) << key;
  }
  EXPECT_FALSE(game.stored("error").empty());
}

TEST(CustomFields, ReportNothingInAMessageThatIsTooLong) {
  const std::string text =
      "validateAndCleanCustomFields: entry with key=k, value= has been omitted because its value is an "
      "empty string or exceeds the max number of characters (256)";
  Game game;
  game.start();
  for (const std::size_t length : {std::size_t{8192}, std::size_t{8193}}) {
    game.log.clear();
    game.onQueue([&] { ZVEvents::validateAndCleanCustomFields({{"k", std::string(length - text.size(), 'v')}}); });
    game.settle();
    EXPECT_THAT(game.stored("error"), SizeIs(1)) << length;
    EXPECT_EQ(game.log.count("Validation fail - error event - message: Message cannot be above 8192 characters."),
              length == 8192 ? 0U : 1U);
  }
}

TEST(CustomFields, KeepTheFirstFiftyAndReportTenOfTheRest) {
  Game game;
  game.start();
  Zorvane::setGlobalCustomEventFields({{"global", 1}});
  ZVMap many;
  for (int i = 0; i < 62; ++i) many.set("k" + std::to_string(i), i);
  game.onQueue([&] {
    const ZVMap kept = ZVEvents::validateAndCleanCustomFields(many);
    EXPECT_TRUE(kept.contains("k0") && kept.contains("k49") && kept.size() == 50);
    ZVEvents::addErrorEvent("another type", ZVErrorSeverity::critical, "one");
  });
  EXPECT_EQ(game.log.count("it exceeds the max number of custom fields (50)"), 12U);
  const auto errors = game.stored("error");
  ASSERT_THAT(errors, SizeIs(10 + 1));
  EXPECT_EQ(shown(errors[10], "message"), "one");
  EXPECT_EQ(shown(errors[0], "message"),
            "validateAndCleanCustomFields: entry with key=k50, value=50 has been omitted because it exceeds the max "
            "number of custom fields (50)");
  EXPECT_EQ(shown(errors[0], "custom_fields"), "(none)") << "not even the global ones";
}

TEST(GlobalCustomFields, AreReplacedAndAnEmptyMapClearsThemInSilence) {
  Game game;
  Zorvane::setEnabledInfoLog(true);
  Zorvane::setGlobalCustomEventFields({{"a", 1}, {"b", "x/y"}});
  Zorvane::setGlobalCustomEventFields({{"c", 2}});
  game.settle();
  EXPECT_TRUE(game.log.contains(R"(Info/ZV/Analytics: Set global custom event fields: {"a":1,"b":"x\/y"})"));
  EXPECT_EQ(ZVState::getGlobalCustomEventFields(), (ZVMap{{"c", 2}}));
  game.log.clear();
  Zorvane::setGlobalCustomEventFields({});
  game.settle();
  EXPECT_TRUE(ZVState::getGlobalCustomEventFields().empty());
  EXPECT_TRUE(game.log.lines().empty());
}

// What a crash would report is renewed then as well, which is no reason to speak.
TEST(GlobalCustomFields, AreLookedAtWhenAnEventNeedsThemAndNotBefore) {
  Game game;
  Zorvane::configureAvailableCustomDimensions01(std::vector<std::string>{"ninja"});
  game.start();
  game.log.clear();
  Zorvane::setGlobalCustomEventFields({{"no key!", 1}, {"key", 2}});
  Zorvane::setCustomDimension01("ninja");
  game.settle();
  EXPECT_FALSE(game.log.contains("has been omitted"));
  for (int i = 0; i < 3; ++i) Zorvane::addDesignEventWithEventId("needs:them");
  game.settle();
  EXPECT_EQ(game.log.count("Warning/ZV/Analytics: validateAndCleanCustomFields: entry with key=no key!"), 1U);
  EXPECT_THAT(game.stored("error"), SizeIs(1));
  EXPECT_EQ(shown(game.stored("design").back(), "custom_fields"), "{key = 2}");
  Zorvane::setGlobalCustomEventFields({{"no key!", 1}});
  Zorvane::addDesignEventWithEventId("needs:them");
  game.settle();
  EXPECT_EQ(game.log.count("entry with key=no key!"), 2U) << "once a setting";
}

}  // namespace

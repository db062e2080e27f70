// What a game's calls may say, and what the compiler refuses for it would store something else.
#include <gtest/gtest.h>

#include <zorvane/ZVTimer.h>
#include <zorvane/Zorvane.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "state/ZVState.h"
#include "support/Game.h"

namespace {

using namespace zorvane;

struct Call {
  const char* text;
  bool compiles;
  bool mustCompile;
};

// Whether the expression, in which Z is the facade, V a value and M a map, compiles.
#define CALL(must, ...)                                                                                              \
  {                                                                                                                  \
#__VA_ARGS__, []<class Z, class V, class M>(std::type_identity<Z>, std::type_identity<V>, std::type_identity<M>) { \
      return requires { __VA_ARGS__; };                                               \
    }(std::type_identity<Zorvane>(), std::type_identity<ZVValue>(), std::type_identity<ZVMap>()), must \
  }
#define COMPILES(...) CALL(true, __VA_ARGS__)
#define REFUSED(...) CALL(false, __VA_ARGS__)

enum Unscoped { kOne = 1 };
const std::size_t kSize = 3;
const std::vector<std::string_view> kViews{"a", "b"};
const std::array<const char*, 2> kPointers{"a", nullptr};
[[maybe_unused]] const char* const kArray[] = {"a", "b"};
const std::set<std::string> kSet{"a"};
[[maybe_unused]] int number = 1;

constexpr auto kStart = ZVProgressionStatus::start;
constexpr auto kSink = ZVResourceFlowType::sink;
constexpr auto kShow = ZVAdAction::show;
constexpr auto kVideo = ZVAdType::video;

// clang-format off: a call a row
const Call kCalls[] = {
    // Whole numbers.
    COMPILES(Z::addProgressionEventWithProgressionStatus(kStart, "a", {}, {}, kSize, {}, true)),
    REFUSED(Z::addProgressionEventWithProgressionStatus(kStart, "a", "b", "c", true)),
    REFUSED(Z::addProgressionEventWithProgressionStatus(kStart, "a", "b", "c", 1.9)),
    REFUSED(Z::addProgressionEventWithProgressionStatus(kStart, "a", "b", "c", {}, {})),
    COMPILES(Z::addBusinessEventWithCurrency("USD", std::int64_t{499}, "a", "b", {}, {}, {}, true)),
    REFUSED(Z::addBusinessEventWithCurrency("USD", 4.99, "a", "b", "c", "receipt")),
    REFUSED(Z::addBusinessEventWithCurrency("USD", {}, "a", "b", "c", "receipt")),
    REFUSED(Z::addAdEventWithAction(kShow, kVideo, "s", "p", 2.7)),
    // Numbers.
    COMPILES(Z::addDesignEventWithEventId("a", 2.5f, {{"k", 1}}, true)),
    COMPILES(Z::addDesignEventWithEventId("a", std::nullopt, {{"k", 1}})),
    REFUSED(Z::addDesignEventWithEventId("a", true)),
    REFUSED(Z::addDesignEventWithEventId("a", 'c')),
    REFUSED(Z::addDesignEventWithEventId("a", "3")),
    COMPILES(Z::addResourceEventWithFlowType(kSink, "c", 0.5, "t", "i", {}, true)),
    REFUSED(Z::addResourceEventWithFlowType(kSink, "c", {}, "t", "i")),
    REFUSED(Z::addResourceEventWithFlowType(1, "c", 1, "t", "i")),
    // {} is no custom fields, wherever these may stand.
    COMPILES(Z::addDesignEventWithEventId("a", {})),
    COMPILES(Z::addErrorEventWithSeverity(ZVErrorSeverity::info, "m", {})),
    COMPILES(Z::addProgressionEventWithProgressionStatus(kStart, "a", {}, {}, {})),
    COMPILES(Z::addAdEventWithAction(kShow, kVideo, "s", "p", {})),
    COMPILES(Z::addAdEventWithAction(kShow, kVideo, "s", "p", ZVAdError::offline, {})),
    COMPILES(Z::addBusinessEventWithCurrency("USD", 1, "a", "b", "c", true, {})),
    COMPILES(Z::addBusinessEventWithCurrency("USD", 1, "a", "b", "c", "r", true, {})),
    // Switches and flags.
    COMPILES(Z::setEnabledInfoLog(false)),
    REFUSED(Z::setEnabledInfoLog("off")),
    REFUSED(Z::setEnabledVerboseLog(0)),
    REFUSED(Z::setEnabledWarningLog({})),
    REFUSED(Z::setEnabledManualSessionHandling(&number)),
    REFUSED(Z::addDesignEventWithEventId("a", 1, {}, 1)),
    REFUSED(Z::addBusinessEventWithCurrency("USD", 1, "a", "b", "c", 1)),
    REFUSED(ZVTimer::scheduledTimerWithTimeInterval(1, V::isNull, "once")),
    // Text.
    COMPILES(Z::configureBuild(std::optional<std::string>("1"))),
    REFUSED(Z::configureBuild(1)),
    REFUSED(Z::configureBuild(true)),
    // Lists.
    COMPILES(Z::configureAvailableResourceCurrencies({"gems", std::string("gold"), nullptr})),
    COMPILES(Z::configureAvailableResourceCurrencies(std::nullopt)),
    COMPILES(Z::configureAvailableResourceCurrencies(kViews)),
    COMPILES(Z::configureAvailableResourceCurrencies(kArray)),
    COMPILES(Z::configureAvailableResourceCurrencies({{"gems", "gold"}})),  // the same list
    REFUSED(Z::configureAvailableResourceCurrencies({{{"gems", "gold"}}})),
    REFUSED(Z::configureAvailableResourceCurrencies("gems")),
    REFUSED(Z::configureAvailableResourceCurrencies(nullptr)),
    REFUSED(Z::configureAvailableResourceCurrencies({1, 2})),
    REFUSED(Z::configureAvailableResourceCurrencies(kSize)),
    // Values and maps.
    COMPILES(V(1), V(2.5), V(true), V("text"), V(nullptr), V(std::int8_t{1}), V(kSize)),
    REFUSED(V('c')),
    REFUSED(V(&number)),
    REFUSED(V(kOne)),
    COMPILES(M{{"a", 1}, {std::string("b"), "c"}, {nullptr, true}}),
    COMPILES(M().set(nullptr, 1), M().find(nullptr), M().erase(nullptr), M().contains("a")),
    REFUSED(M{"a", "b"}),
    REFUSED(M{{"a", 'c'}}),
    REFUSED(M{{1, "a"}}),
    // The facade is not made.
    COMPILES(Z::sharedInstance()),
    REFUSED(Z()),
    REFUSED(Z(Z::sharedInstance())),
};
// clang-format on

TEST(Arguments, CompileWhereTheyAreWhatTheySay) {
  for (const Call& call : kCalls) EXPECT_EQ(call.compiles, call.mustCompile) << call.text;
}

// What is taken arrives as it is, and what is too large or absent as the nearest that can be.
TEST(Arguments, ArriveAsTheyAre) {
  Game game;
  Zorvane::configureAvailableCustomDimensions01({"a", "b"});
  Zorvane::configureAvailableCustomDimensions02(kPointers);
  Zorvane::configureAvailableCustomDimensions03(kSet);
  game.start();
  EXPECT_TRUE(ZVState::hasAvailableCustomDimensions01("b"));
  EXPECT_FALSE(ZVState::hasAvailableCustomDimensions02("a")) << "refused with the text that isn't there";
  EXPECT_TRUE(ZVState::hasAvailableCustomDimensions03("a"));
  const auto tooMuch = std::numeric_limits<std::uint64_t>::max();
  Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, "a", {}, {}, tooMuch);
  Zorvane::addDesignEventWithEventId("id", std::nullopt, {{nullptr, 1}, {"kept", std::uint8_t{7}}});
  Zorvane::addAdEventWithAction(ZVAdAction::failedShow, ZVAdType::banner, "s", "p", ZVAdError::noFill);
  game.settle();
  EXPECT_EQ(shown(game.stored("progression").at(0), "score"), std::to_string(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(shown(game.stored("design").at(0), "custom_fields"), "{kept = 7}") << "the key without a name is refused";
  EXPECT_EQ(shown(game.stored("ads").at(0), "ad_fail_show_reason"), "no_fill");
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/ZVTimer.h>
#include <zorvane/Zorvane.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using Z = Zorvane;

constexpr double kSoon = 0.001;

TEST(EventCalls, AreDroppedUnderTheirKindsNameUntilTheLibraryIsReady) {
  using Case = std::pair<std::string, void (*)()>;
  Game game;
  for (const auto& [kind, report] : {
           Case{"business", [] { Z::addBusinessEventWithCurrency("USD", 1, "a", "b", "c", "r"); }},
           Case{"resource", [] { Z::addResourceEventWithFlowType(ZVResourceFlowType::sink, "g", 1, "a", "b"); }},
           Case{"progression",
                [] { Z::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, "a", {}, {}); }},
           Case{"progression",
                [] { Z::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, "a", {}, {}, 5); }},
           Case{"design", [] { Z::addDesignEventWithEventId("a"); }},
           Case{"error", [] { Z::addErrorEventWithSeverity(ZVErrorSeverity::info, "m"); }},
           Case{"ad", [] { Z::addAdEventWithAction(ZVAdAction::show, ZVAdType::video, "s", "p"); }},
           Case{"ad", [] { Z::addAdEventWithAction(ZVAdAction::show, ZVAdType::video, "s", "p", 5); }},
           Case{"impression",
                [] {
                  Z::addImpressionMaxEventWithAdNetworkVersion("1", {{"a", 1}});
                }},
       }) {
    game.settle();
    game.log.clear();
    report();
    game.settle();
    EXPECT_THAT(game.log.lines(),
                ElementsAre("Warning/ZV/Analytics: Could not add " + kind + " event: SDK is not initialized"));
  }
  EXPECT_THAT(game.query("SELECT * FROM zv_events"), SizeIs(0));
}

// What a call says is what it means: text is a receipt, a boolean asks for one.
TEST(EventCalls, TakeALiteralForTextAndNeverForABoolean) {
  Game game;
  game.start();
  Z::addBusinessEventWithCurrency("USD", 1, "pack", "small", "shop", "literal");
  Z::addBusinessEventWithCurrency("USD", 1, "pack", "small", "shop", true);
  Z::addBusinessEventWithCurrency("USD", 1, "pack", "small", "shop", "literal", true, {{"a", 1}}, true);
  Z::addBusinessEventWithCurrency("USD", 1, "pack", "small", "shop", false, {{"a", 1}});
  game.settle();
  EXPECT_EQ(game.log.count("File path was not found!"), 2U);
  const auto events = game.stored("business");
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(shown(events[0], "receipt_info"), "{receipt = literal; store = apple}");
  EXPECT_EQ(shown(events[1], "receipt_info"), "(none)");
  EXPECT_EQ(shown(events[1], "custom_fields"), "{a = 1}");
}

TEST(Receipts, ThatCanNotBeReadAreWarnedOfAndTheEventIsRefused) {
  constexpr const char* kNotFound = "Could not get app store receipt - File path was not found!";
  constexpr const char* kUnreadable = "File path found, but reading the receipt data to base64 failed.";
  Game game;
  game.start();
  const std::string folder = game.platform.folder.path();
  const std::string unreadable = folder + "/receipt";
  std::ofstream(unreadable) << "receipt";
  std::filesystem::permissions(unreadable, std::filesystem::perms::none);
  const bool isRoot = std::ifstream(unreadable).good();
  struct Case {
    std::string path;
    std::string line;
  };
  for (const auto& [path, line] :
       {Case{folder, kUnreadable}, Case{isRoot ? folder : unreadable, kUnreadable}, Case{folder + "/none", kNotFound},
        Case{unreadable + "/within-a-file", kNotFound}, Case{std::string(5000, 'l'), kNotFound}, Case{"", kNotFound}}) {
    game.platform.device->change([&](ZVDeviceFacts&, ZVApplicationFacts& facts) { facts.receiptPath = path; });
    game.log.clear();
    Z::addBusinessEventWithCurrency("USD", 1, "pack", "small", "shop", true);
    game.settle();
    EXPECT_EQ(game.log.count(line), 1U) << path;
    EXPECT_EQ(game.log.count("Error/"), 0U) << path;
  }
  EXPECT_THAT(game.stored("business"), SizeIs(0));
}

TEST(AdTypes, HaveNamesInCapitalsAndRaiseOutsideTheirList) {
  EXPECT_EQ(Z::adTypeToString(ZVAdType::rewardedVideo), "REWARDED_VIDEO");
  EXPECT_EQ(Z::adTypeToString(ZVAdType::banner), "BANNER");
  for (const int outside : {0, 7, -1, std::numeric_limits<int>::max()}) {
    try {
      Z::adTypeToString(static_cast<ZVAdType>(outside));
      ADD_FAILURE() << outside;
    } catch (const std::runtime_error& failure) {
      EXPECT_STREQ(failure.what(), "Unexpected FormatType.");
    }
  }
}

TEST(NamedTimers, SumTheirRunningStretchesOnceResumed) {
  Game game;
  FakeClock& clock = *game.platform.clock;
  Z::startTimer("level");
  clock.advance(5);
  EXPECT_EQ(Z::stopTimer("level"), 0) << "a new timer does not run";
  Z::resumeTimer("level");
  clock.advance(1.5);
  Z::resumeTimer("level");  // runs already
  clock.advance(0.25);
  Z::pauseTimer("level");
  Z::pauseTimer("level");
  clock.advance(9);
  EXPECT_EQ(Z::stopTimer("level"), 1750);
  Z::resumeTimer("level");
  clock.advance(-1);  // the device's clock was set back
  EXPECT_EQ(Z::stopTimer("level"), 750);
  game.log.clear();
  Z::startTimer("level");
  EXPECT_EQ(Z::stopTimer("level"), 0);
  Z::pauseTimer("other");
  Z::resumeTimer("other");
  EXPECT_EQ(Z::stopTimer("other"), 0);
  Z::startTimer(nullptr);
  EXPECT_EQ(Z::stopTimer(nullptr), 0);
  const std::string warning = "Warning/ZV/Analytics: ";
  EXPECT_THAT(game.log.lines(), ElementsAre(warning + "startTimer: overriding old value for key=level",
                                            warning + "pauseTimer: no value found for key=other",
                                            warning + "resumeTimer: no value found for key=other",
                                            warning + "stopTimer: no value found for key=other",
                                            warning + "startTimer: a timer needs a key",
                                            warning + "stopTimer: no value found for key=(null)"));
}

TEST(TimersWithATask, RunOnTheThreadThatScheduledThem) {
  Game game;
  std::vector<std::string> ran;
  const auto note = [&](const std::string& what) { return [&ran, what] { ran.push_back(what); }; };

  auto again = ZVTimer::scheduledTimerWithTimeInterval(2, note("again"), true);
  const auto once = ZVTimer::scheduledTimerWithTimeInterval(1, note("once"), false);
  auto captured = std::make_shared<int>();
  const auto never = ZVTimer::scheduledTimerWithTimeInterval(
      1, [&ran, captured] { ran.emplace_back("never"); }, false);
  ZVTimer::scheduledTimerWithTimeInterval(1, nullptr, false);
  never->invalidate();
  EXPECT_EQ(captured.use_count(), 1) << "what the task owned goes with it";
  ZVTimer::servePending();
  EXPECT_THAT(ran, ElementsAre()) << "the main loop serves its own";
  game.platform.loop->advance(5);
  EXPECT_THAT(ran, ElementsAre("once", "again", "again"));
  EXPECT_FALSE(once->isValid());
  again->invalidate();
  game.platform.loop->advance(5);
  EXPECT_THAT(ran, SizeIs(3));

  std::thread elsewhere([&] {
    const auto thread = std::this_thread::get_id();
    const auto timer = ZVTimer::scheduledTimerWithTimeInterval(
        kSoon, [&, thread] { ran.push_back(thread == std::this_thread::get_id() ? "here" : "elsewhere"); }, true);
    ZVTimer::scheduledTimerWithTimeInterval(
        kSoon, [] { throw std::runtime_error("of the game"); }, false);
    while (ran.size() < 5) ZVTimer::servePending();
    EXPECT_TRUE(timer->isValid());
  });
  elsewhere.join();
  EXPECT_THAT(ran, ElementsAre("once", "again", "again", "here", "here"));
}

}  // namespace

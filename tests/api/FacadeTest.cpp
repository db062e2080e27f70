#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include <chrono>
#include <future>
#include <limits>

#include "api/frame.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/Records.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::SizeIs;

using List = std::vector<std::string>;

TEST(Configuration, TakesWhatIsValidAndSaysAtInfoLevelWhatIsNot) {
  struct Case {
    void (*configure)(ZVText) noexcept;
    std::function<std::optional<std::string>()> configured;
    std::string valid;
    ZVText invalid;
    std::string line;
  };
  const std::string userId(65, 'u');
  Game game;
  Zorvane::setEnabledInfoLog(true);
  for (const auto& [configure, configured, valid, invalid, line] :
       {Case{Zorvane::configureBuild, ZVState::getBuild, std::string(32, 'b'), nullptr,
             "build: Cannot be null, empty or above 32 length. String: (null)"},
        Case{Zorvane::configureUserId, ZVState::getUserId, std::string(64, 'u'), userId,
             "user_id: Cannot be null, empty or above 64 length. Will use default user_id method. Used string: " +
                 userId},
        Case{Zorvane::configureSdkVersion, ZVState::getSdkVersion, "unity 5.6.1", "unity 5.6.1.2",
             "sdk version: Sdk version not supported. String: unity 5.6.1.2"},
        Case{Zorvane::configureEngineVersion, ZVState::getEngineVersion, "unreal 4.20", "air 1.0",
             "engine: Engine version not supported. String: air 1.0"}}) {
    configure(valid);
    configure(invalid);
    game.settle();
    EXPECT_EQ(configured(), valid);
    EXPECT_TRUE(game.log.contains("Info/ZV/Analytics: Validation fail - configure " + line));
  }
}

TEST(Configuration, IsRefusedOnceTheLibraryIsReady) {
  using Case = std::pair<std::string, void (*)()>;  // the line, "" where it is ignored silently
  Game game;
  Zorvane::setEnabledInfoLog(true);
  Zorvane::configureBuild("early");
  game.start();
  for (const auto& [line, configure] :
       {Case{"Build version must be set before SDK is initialized.", [] { Zorvane::configureBuild("late"); }},
        Case{"A custom userid must be set before SDK is initialized.", [] { Zorvane::configureUserId("late"); }},
        Case{"", [] { Zorvane::configureSdkVersion("unity 1"); }},
        Case{"", [] { Zorvane::configureEngineVersion("unity 1"); }},
        Case{"", [] { Zorvane::configureAutoDetectAppVersion(true); }},
        Case{"Available custom dimensions must be set before SDK is initialized",
             [] { Zorvane::configureAvailableCustomDimensions01({"a"}); }},
        Case{"Available resource currencies must be set before SDK is initialized",
             [] { Zorvane::configureAvailableResourceCurrencies({"gems"}); }},
        Case{"Available resource item types must be set before SDK is initialized",
             [] { Zorvane::configureAvailableResourceItemTypes({"boost"}); }},
        Case{"SDK is initialized. Cannot set or change game and secret key.",
             [] { Zorvane::configureGameKey(Game::kKey, Game::kSecret); }},
        Case{"SDK already initialized. Can only be called once.",
             [] { Zorvane::initializeWithGameKey(Game::kKey, Game::kSecret); }},
        Case{"SDK already initialized. Can only be called once.",
             [] { Zorvane::initializeWithConfiguredGameKeyAndGameSecret(); }}}) {
    game.log.clear();
    configure();
    game.settle();
    EXPECT_EQ(game.log.lines(), line.empty() ? List() : List({"Warning/ZV/Analytics: " + line}));
  }
  EXPECT_EQ(ZVState::getBuild(), "early");
  EXPECT_FALSE(ZVState::hasAvailableResourceCurrency("gems"));
  EXPECT_THAT(game.sent("user"), SizeIs(1));

  game.onQueue([] { ZVState::setSDKPausedFlag(true); });  // initialised, but not ready: taken
  Zorvane::configureBuild("while paused");
  game.settle();
  EXPECT_EQ(ZVState::getBuild(), "while paused");
}

TEST(Keys, AreCheckedKeptAndNeeded) {
  Game game;
  Zorvane::initializeWithConfiguredGameKeyAndGameSecret();
  Zorvane::configureGameKey("short", Game::kSecret);
  Zorvane::initializeWithGameKey(std::string(31, 'k'), nullptr);
  game.settle();
  const std::string failed =
      "They are invalid. Can only contain characters A-z 0-9, gameKey is 32 length, gameSecret is 40 length. Failed "
      "keys - gameKey: ";
  for (const std::string& line :
       {std::string("Cannot initialize - game key and secret key not configured before call."),
        "Failed to configure game key and secret key. " + failed + "short, secretKey: " + Game::kSecret,
        std::string("SDK failed initialize. Game key or secret key is invalid."),
        "gameKey: " + std::string(31, 'k') + ", secretKey: (null)"})
    EXPECT_TRUE(game.log.contains(line)) << line;
  EXPECT_FALSE(ZVState::isInitialized());
  Zorvane::configureGameKey(Game::kKey, Game::kSecret);
  Zorvane::initializeWithConfiguredGameKeyAndGameSecret();
  game.settle();
  EXPECT_THAT(game.sent("user"), SizeIs(1));
}

TEST(Gate, ChecksInItsOrderAndSaysWhyUnderTheCallersName) {
  Game game;
  const auto ask = [&](bool needsInitialized, bool warn, ZVText message) {
    bool ready = false;
    game.log.clear();
    game.onQueue([&] { ready = isSdkReadyWithNeedsInitialized(needsInitialized, warn, message); });
    const auto lines = game.log.lines();
    return ready ? "ready" : lines.empty() ? "silent" : lines.front();
  };
  const std::string prefix = "Warning/ZV/Analytics: ";
  EXPECT_EQ(ask(false, true, {}), "ready");
  EXPECT_EQ(ask(true, true, "Could not"), prefix + "Could not: SDK is not initialized");
  EXPECT_EQ(ask(true, false, "Could not"), "silent");
  game.collector.answer(LoopbackServer::kInit, {401, "{}"});
  game.start();
  EXPECT_EQ(ask(true, true, {}), prefix + "SDK is disabled");
  game.onQueue([] { state().session.setEnabled(true); });
  EXPECT_EQ(ask(true, true, "100% {}"), "ready");
  game.onQueue([] { ZVState::setSDKPausedFlag(true); });
  EXPECT_EQ(ask(true, true, "100% {}"), prefix + "100% {}: SDK is paused");
  game.onQueue([] { ZVStore::sharedInstance().tableReady = false; });
  EXPECT_EQ(ask(false, true, {}), prefix + "Datastore not initialized");
}

TEST(Switches, ShowTheFirstTasksDebugLinesWhenTheDebugLogIsTheFirstCall) {
  const Game game;
  EXPECT_TRUE(game.log.contains("Debug/ZV/Analytics: Database opened: "));
}

TEST(Switches, SayThatTheyWereTurnedWhileTheyAreOn) {
  Game game;
  ZVLogger::sharedInstance().debugEnabled = false;
  game.log.clear();
  for (const bool on : {true, false}) {
    Zorvane::setEnabledInfoLog(on);
    Zorvane::setEnabledVerboseLog(on);
    Zorvane::setEnabledWarningLog(on);
    Zorvane::setEnabledWarningLog(true);
  }
  Zorvane::setEnabledVerboseLog(true);
  Zorvane::setEnabledManualSessionHandling(true);
  Zorvane::setEnabledEventSubmission(false);
  game.settle();
  EXPECT_THAT(game.log.lines(),
              testing::ElementsAre(
                  "Info/ZV/Analytics: Info logging enabled", "Info/ZV/Analytics: Verbose logging enabled",
                  "Warning/ZV/Analytics: Warning logging enabled", "Warning/ZV/Analytics: Warning logging enabled",
                  "Info/ZV/Analytics: Info logging disabled", "Info/ZV/Analytics: Verbose logging disabled",
                  "Warning/ZV/Analytics: Warning logging disabled", "Warning/ZV/Analytics: Warning logging enabled",
                  "Info/ZV/Analytics: Verbose logging enabled", "Info/ZV/Analytics: Manual session handling enabled."));
  EXPECT_FALSE(ZVState::isEventSubmissionEnabled());
}

TEST(Dimensions, TakeTheirConfiguredValuesAndTheThirdFailsLikeTheSecond) {
  Game game;
  Zorvane::configureAvailableCustomDimensions01({"one", "1"});
  Zorvane::configureAvailableCustomDimensions01({"two", nullptr});
  Zorvane::configureAvailableCustomDimensions03({"three"});
  game.start();
  EXPECT_TRUE(game.log.contains("custom dimensions validation failed: was either not a string or null"));
  Zorvane::setCustomDimension01("one");
  Zorvane::setCustomDimension02("");
  Zorvane::setCustomDimension02("two");
  Zorvane::setCustomDimension03("other");
  game.settle();
  EXPECT_EQ(ZVState::getDimension01(), "one");
  EXPECT_EQ(ZVState::getDimension03(), std::nullopt);
  EXPECT_TRUE(
      game.log.contains("Could not set custom02 dimension value to 'two'. Value not found in available custom02 "
                        "dimension values"));
  EXPECT_TRUE(game.log.contains("Could not set custom02 dimension value to 'other'."));
  game.onQueue([] { ZVState::setAvailableCustomDimensions01(List{"else"}); });
  EXPECT_EQ(ZVState::getDimension01(), std::nullopt) << "cleared at once";
  EXPECT_TRUE(game.log.contains("Invalid dimension01 found in variable. Setting to nil. Invalid dimension: one"));
  EXPECT_THAT(game.query("SELECT * FROM zv_state WHERE key = 'dimension01'"), SizeIs(0));
}

// A game that lives for less than the queue's eight seconds.
TEST(Flush, SendsWhatWaitsAtOnceAndSaysWhyItCanNot) {
  Game game;
  const std::string refusal = "Warning/ZV/Analytics: Could not flush events: ";
  Zorvane::flush();
  game.settle();
  EXPECT_TRUE(game.log.contains(refusal + "SDK is not initialized"));
  game.start();
  Zorvane::addDesignEventWithEventId("short:life");
  Zorvane::flush();
  game.settle();
  EXPECT_THAT(game.sent("design"), SizeIs(1));
  EXPECT_EQ(game.platform.loop->timers(), 1U) << "the queue's own turn comes as before";
  Zorvane::addDesignEventWithEventId("stays");
  Zorvane::setEnabledEventSubmission(false);
  Zorvane::flush();
  game.settle();
  EXPECT_TRUE(game.log.contains(refusal + "Event submission is disabled"));
  EXPECT_THAT(game.stored("design"), SizeIs(1));
}

TEST(SessionStart, IsNotifiedOnceItCanBeEnded) {
  Game game;
  Zorvane::setEnabledManualSessionHandling(true);
  game.settle();
  int begun = 0;
  const auto observer = ZVNotificationCenter::addObserver(k_ZV_SessionDidStartNotification, [&](const ZVNotification&) {
    if (++begun == 2) Zorvane::endSession();
  });
  game.start();
  EXPECT_EQ(begun, 1);
  game.log.clear();
  std::promise<void> answered;
  ZVThreading::performTaskOnZVThreadWithBlock([&] { answered.get_future().wait(); });
  Zorvane::startSession();  // ends the first
  Zorvane::endSession();
  EXPECT_TRUE(game.log.contains("SDK is already paused. Cannot pause SDK and end session.")) << "in one breath";
  answered.set_value();
  game.settle();
  EXPECT_EQ(begun, 2);
  EXPECT_THAT(game.sent("session_end"), SizeIs(2)) << "the second was ended by its observer";
  game.collector.answerOnly(LoopbackServer::kInit, {401, "{}"});
  Zorvane::startSession();
  game.settle();
  EXPECT_EQ(begun, 2) << "none begins while the library is switched off";
  ZVNotificationCenter::removeObserver(observer);
}

// A host that loads for seconds before its loop turns, and is killed then.
TEST(Storing, NeverWaitsForAHostsLoop) {
  Game game;
  Zorvane::initializeWithGameKey(Game::kKey, Game::kSecret);
  Zorvane::addDesignEventWithEventId("while:loading");
  auto& queue = ZVThreading::sharedInstance().queue;
  ASSERT_TRUE(queue.drain(std::chrono::seconds(60))) << "nobody pumps the loop meanwhile";
  EXPECT_THAT(game.stored("design"), SizeIs(1));
  EXPECT_THAT(game.sent("user"), SizeIs(1));
  game.platform.loop->advance(8.1);
  game.settle();
  EXPECT_THAT(game.sent("design"), SizeIs(1)) << "the timer was armed without the loop";
}

TEST(QueuePeriod, IsThePlatformsWithinItsBounds) {
  for (const auto& [given, used] : {std::pair{0.5, 0.5},
                                    {3600.0, 3600.0},
                                    {0.0, 8.0},
                                    {-1.0, 8.0},
                                    {3600.5, 8.0},
                                    {std::numeric_limits<double>::quiet_NaN(), 8.0}}) {
    Game game([period = given](ZVPlatform& platform) { platform.eventQueueSeconds = period; });
    game.start();
    EXPECT_EQ(ZVEvents::sharedInstance().queueTimerWaitSeconds, used) << given;
    EXPECT_EQ(game.log.contains("An event queue's period of "), given != used) << given;
  }
}

}  // namespace

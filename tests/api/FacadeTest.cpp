#include <gmock/gmock.h>

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
using Z = Zorvane;
using List = std::vector<std::string>;

// The one line that each call writes; "": none.
using Calls = std::vector<std::pair<std::string, void (*)()>>;

void expectLines(Game& game, const std::string& before, const Calls& calls) {
  for (const auto& [line, call] : calls) {
    game.settle();
    game.log.clear();
    call();
    game.settle();
    EXPECT_EQ(game.log.lines(), line.empty() ? List() : List{before + line});
  }
}

TEST(Configuration, SaysAtInfoLevelWhatIsNotValid) {
  Game game;
  Z::setEnabledInfoLog(true);
  expectLines(
      game, "Info/ZV/Analytics: Validation fail - configure ",
      {{"build: Cannot be null, empty or above 32 length. String: (null)", [] { Z::configureBuild(nullptr); }},
       {"user_id: Cannot be null, empty or above 64 length. Will use default user_id method. Used string: ",
        [] { Z::configureUserId(""); }},
       {"sdk version: Sdk version not supported. String: unity 5.6.1.2",
        [] { Z::configureSdkVersion("unity 5.6.1.2"); }},
       {"engine: Engine version not supported. String: air 1.0", [] { Z::configureEngineVersion("air 1.0"); }}});
}

TEST(Configuration, IsRefusedOnceTheLibraryIsReady) {
  const Calls calls{
      {"Build version must be set before SDK is initialized.", [] { Z::configureBuild("late"); }},
      {"A custom userid must be set before SDK is initialized.", [] { Z::configureUserId("late"); }},
      {"", [] { Z::configureSdkVersion("unity 1"); }},
      {"", [] { Z::configureEngineVersion("unity 1"); }},
      {"", [] { Z::configureAutoDetectAppVersion(true); }},
      {"Available custom dimensions must be set before SDK is initialized",
       [] { Z::configureAvailableCustomDimensions01({"a"}); }},
      {"Available resource currencies must be set before SDK is initialized",
       [] { Z::configureAvailableResourceCurrencies({"gems"}); }},
      {"Available resource item types must be set before SDK is initialized",
       [] { Z::configureAvailableResourceItemTypes({"boost"}); }},
      {"SDK is initialized. Cannot set or change game and secret key.",
       [] { Z::configureGameKey(Game::kKey, Game::kSecret); }},
      {"SDK already initialized. Can only be called once.",
       [] { Z::initializeWithGameKey(Game::kKey, Game::kSecret); }},
      {"SDK already initialized. Can only be called once.", [] { Z::initializeWithConfiguredGameKeyAndGameSecret(); }}};
  Game game;
  Z::configureBuild("early");
  Z::configureSdkVersion("unity 5.6.1");
  Z::configureEngineVersion("unreal 4.20");
  game.start();
  expectLines(game, "Warning/ZV/Analytics: ", calls);
  EXPECT_EQ(ZVState::getBuild() + ' ' + ZVState::getSdkVersion() + ' ' + ZVState::getEngineVersion().value_or(""),
            "early unity 5.6.1 unreal 4.20");
  EXPECT_FALSE(ZVState::hasAvailableResourceCurrency("gems"));
  EXPECT_THAT(game.sent("user"), SizeIs(1));

  game.onQueue([] { ZVState::setSDKPausedFlag(true); });  // initialised, but not ready: taken
  Z::configureBuild("while paused");
  game.settle();
  EXPECT_EQ(ZVState::getBuild(), "while paused");
}

TEST(EventCalls, AreDroppedUnderTheirKindsNameUntilTheLibraryIsReady) {
  Game game;
  expectLines(
      game, "Warning/ZV/Analytics: Could not add ",
      {{"business event: SDK is not initialized",
        [] { Z::addBusinessEventWithCurrency("USD", 1, "a", "b", "c", "r"); }},
       {"resource event: SDK is not initialized",
        [] { Z::addResourceEventWithFlowType(ZVResourceFlowType::sink, "g", 1, "a", "b"); }},
       {"progression event: SDK is not initialized",
        [] { Z::addProgressionEventWithProgressionStatus(ZVProgressionStatus::fail, "a", {}, {}); }},
       {"design event: SDK is not initialized", [] { Z::addDesignEventWithEventId("a"); }},
       {"error event: SDK is not initialized", [] { Z::addErrorEventWithSeverity(ZVErrorSeverity::info, "m"); }},
       {"ad event: SDK is not initialized",
        [] { Z::addAdEventWithAction(ZVAdAction::show, ZVAdType::video, "s", "p"); }},
       {"impression event: SDK is not initialized", [] { Z::addImpressionMaxEventWithAdNetworkVersion("1", {}); }}});
  EXPECT_THAT(game.query("SELECT * FROM zv_events"), SizeIs(0));
}

TEST(Keys, AreCheckedKeptAndNeeded) {
  Game game;
  Z::initializeWithConfiguredGameKeyAndGameSecret();
  game.settle();
  EXPECT_TRUE(game.log.contains("Cannot initialize - game key and secret key not configured before call."));
  expectLines(game, "Warning/ZV/Analytics: ",
              {{"Failed to configure game key and secret key. They are invalid. Can only contain characters A-z 0-9, "
                "gameKey is 32 length, gameSecret is 40 length. Failed keys - gameKey: short, secretKey: (null)",
                [] { Z::configureGameKey("short", nullptr); }}});
  Z::initializeWithGameKey("short", nullptr);
  game.settle();
  EXPECT_TRUE(game.log.contains("SDK failed initialize. Game key or secret key is invalid."));
  EXPECT_FALSE(ZVState::isInitialized());
  Z::configureGameKey(Game::kKey, Game::kSecret);
  Z::initializeWithConfiguredGameKeyAndGameSecret();
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
  EXPECT_EQ(ask(true, false, "Could not"), "silent");
  game.start();
  game.onQueue([] { ZVState::setSDKPausedFlag(true); });
  EXPECT_EQ(ask(true, true, "100% {}"), prefix + "100% {}: SDK is paused");
  game.onQueue([] { state().session.setEnabled(false); });
  EXPECT_EQ(ask(true, true, {}), prefix + "SDK is disabled");
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
  const std::string info = "Info/ZV/Analytics: ", warning = "Warning/ZV/Analytics: ";
  expectLines(game, "",
              {{info + "Info logging enabled", [] { Z::setEnabledInfoLog(true); }},
               {info + "Info logging disabled", [] { Z::setEnabledInfoLog(false); }},
               {info + "Verbose logging enabled", [] { Z::setEnabledVerboseLog(true); }},
               {info + "Manual session handling enabled.", [] { Z::setEnabledManualSessionHandling(true); }},
               {info + "Verbose logging disabled", [] { Z::setEnabledVerboseLog(false); }},
               {warning + "Warning logging disabled", [] { Z::setEnabledWarningLog(false); }},
               {warning + "Warning logging enabled", [] { Z::setEnabledWarningLog(true); }},
               {"", [] { Z::setEnabledEventSubmission(false); }}});
  EXPECT_FALSE(ZVState::isEventSubmissionEnabled());
}

// A game that lives for less than the queue's eight seconds.
TEST(Flush, SendsWhatWaitsAtOnceAndSaysWhyItCanNot) {
  Game game;
  const std::string refusal = "Warning/ZV/Analytics: Could not flush events: ";
  expectLines(game, refusal, {{"SDK is not initialized", [] { Z::flush(); }}});
  game.start();
  Z::addDesignEventWithEventId("short:life");
  Z::flush();
  game.settle();
  EXPECT_THAT(game.sent("design"), SizeIs(1));
  EXPECT_EQ(game.platform.loop->timers(), 1U) << "the queue's own turn comes as before";
  Z::addDesignEventWithEventId("stays");
  Z::setEnabledEventSubmission(false);
  Z::flush();
  game.settle();
  EXPECT_TRUE(game.log.contains(refusal + "Event submission is disabled"));
  EXPECT_THAT(game.stored("design"), SizeIs(1));
}

TEST(SessionStart, IsNotifiedOnceItCanBeEnded) {
  Game game;
  Z::setEnabledManualSessionHandling(true);
  game.settle();
  int begun = 0;
  const auto observer = ZVNotificationCenter::addObserver(k_ZV_SessionDidStartNotification, [&](const ZVNotification&) {
    if (++begun == 2) Z::endSession();
  });
  game.start();
  EXPECT_EQ(begun, 1);
  game.log.clear();
  std::promise<void> answered;
  ZVThreading::performTaskOnZVThreadWithBlock([&] { answered.get_future().wait(); });
  Z::startSession();  // ends the first
  Z::endSession();
  EXPECT_TRUE(game.log.contains("SDK is already paused. Cannot pause SDK and end session.")) << "in one breath";
  answered.set_value();
  game.settle();
  EXPECT_EQ(begun, 2);
  EXPECT_THAT(game.sent("session_end"), SizeIs(2)) << "the second was ended by its observer";
  game.collector.answerOnly(LoopbackServer::kInit, {401, "{}"});
  Z::startSession();
  game.settle();
  EXPECT_EQ(begun, 2) << "none begins while the library is switched off";
  ZVNotificationCenter::removeObserver(observer);
}

// A host that loads for seconds before its loop turns, and is killed then.
TEST(Storing, NeverWaitsForAHostsLoop) {
  Game game;
  Z::initializeWithGameKey(Game::kKey, Game::kSecret);
  Z::addDesignEventWithEventId("while:loading");
  auto& queue = ZVThreading::sharedInstance().queue;
  ASSERT_TRUE(queue.drain(std::chrono::seconds(60))) << "nobody pumps the loop meanwhile";
  EXPECT_THAT(game.stored("design"), SizeIs(1));
  EXPECT_THAT(game.sent("user"), SizeIs(1));
  game.platform.loop->advance(8.1);
  game.settle();
  EXPECT_THAT(game.sent("design"), SizeIs(1)) << "the timer was armed without the loop";
}

TEST(QueuePeriod, IsThePlatformsWithinItsBounds) {
  using Case = std::pair<double, double>;
  for (const auto& [given, used] : {Case{0.5, 0.5}, Case{3600, 3600}, Case{0, 8}, Case{-1, 8}, Case{3600.5, 8},
                                    Case{std::numeric_limits<double>::quiet_NaN(), 8}}) {
    Game game([period = given](ZVPlatform& platform) { platform.eventQueueSeconds = period; });
    game.start();
    EXPECT_EQ(ZVEvents::sharedInstance().queueTimerWaitSeconds, used) << given;
    EXPECT_EQ(game.log.contains("An event queue's period of "), given != used) << given;
  }
}

}  // namespace

#include <gmock/gmock.h>

#include <zorvane/Zorvane.h>

#include "codecs/gzip.h"
#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr double kNow = 1'700'000'000;

TEST(InitAnswers, EachEndsAsItShould) {
  struct Case {
    LoopbackServer::Answer answer;
    std::string line;  // that must be logged
    bool enabled = true;
    std::size_t sdkErrors = 0;
  };
  for (const auto& [answer, line, enabled, sdkErrors] : {
           Case{{200, R"({"server_ts":1700000100})"}, "Add SESSION START event"},
           Case{{200, "{}"}, "Add SESSION START event"},
           Case{{401, "{}"}, "Initialize SDK failed - Unauthorized", false},
           Case{{400, R"({"why":"x"})"}, "failed - bad request or unknown response."},
           Case{{400, "<html>"}, "failed - bad response. Could be bad response from proxy", true, 1},
           Case{{500, "{}"}, "using default init values."},
           Case{{302, "{}"}, "failed - bad request or unknown response."},
           Case{{200, "{\"server_ts\":"}, "failed - bad response. Could be bad response from proxy", true, 1},
           Case{{200, ""}, "Failed Init Call. Json decoding failed", true, 1},
           Case{{200, "[]"}, "validateInitRequestResponse failed - no response dictionary."},
           Case{{200, R"({"server_ts":"now"})"}, "invalid type in 'server_ts' field."},
           Case{{201, R"({"configs":5})"}, "invalid type in 'configs' field."},
       }) {
    SCOPED_TRACE(std::to_string(answer.status) + answer.body);
    Game game;
    Zorvane::setEnabledInfoLog(true);
    game.collector.answer(LoopbackServer::kInit, answer);
    game.start();
    EXPECT_TRUE(game.log.contains(line)) << line;
    EXPECT_EQ(ZVState::isEnabled(), enabled);
    EXPECT_EQ(ZVEvents::isEventQueueTimerArmed(), enabled);
    ASSERT_TRUE(game.collector.waitForRequests(enabled ? 2 + sdkErrors : 1));
    EXPECT_THAT(game.sdkErrors(), SizeIs(sdkErrors));
    EXPECT_THAT(game.sent("user"), SizeIs(enabled ? 1 : 0));
    Zorvane::addDesignEventWithEventId("after");
    game.settle();
    EXPECT_THAT(game.stored("design"), SizeIs(enabled ? 1 : 0));
    EXPECT_EQ(game.log.contains("Could not add design event: SDK is disabled"), !enabled);
  }
}

TEST(InitWithoutAnswer, StartsOfflineAndKeepsTheSessionStart) {
  for (const auto misbehave : {&LoopbackServer::tear, &LoopbackServer::hang}) {
    Game game([](ZVPlatform& platform) { platform.requestTimeoutSeconds = 0.3; });
    Zorvane::setEnabledInfoLog(true);
    (game.collector.*misbehave)();
    game.start();
    EXPECT_TRUE(game.log.contains("Init call (session start) failed - no response. Could be offline or timeout."));
    EXPECT_TRUE(game.log.contains("failed - using default init values."));
    EXPECT_TRUE(ZVState::isEnabled());
    EXPECT_THAT(game.stored("user"), SizeIs(1));
    game.collector.resume();
  }
}

TEST(Session, TakesTheServersClockAndKeepsItOffline) {
  Game game;
  game.platform.clock->set(kNow + 0.9);
  game.collector.answer(LoopbackServer::kInit, {200, R"({"server_ts":1700003600.7})"});
  game.start();
  EXPECT_EQ(shown(game.sent("user")[0], "client_ts"), "1700003600");
  game.restart();
  game.collector.tear();
  game.start();
  EXPECT_EQ(shown(game.stored("user")[0], "client_ts"), "1700003600") << "the cached offset";
}

TEST(Session, StaysWithinTheCalendarAndNeverHasANegativeLength) {
  for (const char* serverTs : {"-1700000001", "-1e300", "0"}) {
    Game game;
    game.platform.clock->set(kNow);
    game.collector.answer(LoopbackServer::kInit, {200, std::string(R"({"server_ts":)") + serverTs + "}"});
    game.start();
    EXPECT_EQ(shown(game.sent("user").at(0), "client_ts"), "1700000000") << serverTs;
    game.platform.clock->advance(-100);
    ZVPlatform::applicationDidEnterBackground();
    game.settle();
    EXPECT_EQ(shown(game.sent("session_end").at(0), "length"), "0");
    EXPECT_TRUE(game.log.contains("Session length was calculated to be less then 0. Should not be possible."));
  }
}

TEST(Session, EndsInTheBackgroundAndStartsInTheForeground) {
  Game game;
  Zorvane::setEnabledInfoLog(true);
  game.start();
  const std::string first = shown(game.sent("user")[0], "session_id");
  game.platform.clock->advance(65);
  Zorvane::addDesignEventWithEventId("just:before");
  ZVPlatform::applicationDidEnterBackground();
  Zorvane::addDesignEventWithEventId("too:late");
  game.settle();
  ASSERT_THAT(game.sent("session_end"), SizeIs(1));
  EXPECT_EQ(shown(game.sent("session_end")[0], "length"), "65");
  EXPECT_EQ(shown(game.sent("session_end")[0], "session_id"), first);
  ASSERT_THAT(game.sent("design"), SizeIs(1)) << "what was reported before the pause counts";
  EXPECT_EQ(game.log.count("Could not add design event: SDK is paused"), 1U);
  EXPECT_FALSE(ZVEvents::isEventQueueTimerArmed());
  EXPECT_THAT(game.query("SELECT * FROM zv_session"), IsEmpty());

  ZVPlatform::applicationDidEnterBackground();
  EXPECT_TRUE(game.log.contains("SDK is already paused. Cannot pause SDK and end session."));
  ZVPlatform::applicationWillEnterForeground();
  game.settle();
  ASSERT_THAT(game.sent("user"), SizeIs(2));
  EXPECT_NE(shown(game.sent("user")[1], "session_id"), first);
  EXPECT_EQ(shown(game.sent("user")[1], "session_num"), "2");
  EXPECT_EQ(shown(game.sent("user")[0], "install"), "1");
  EXPECT_EQ(shown(game.sent("user")[1], "install"), "(none)") << "said once";
  EXPECT_TRUE(ZVEvents::isEventQueueTimerArmed());

  ZVPlatform::applicationWillEnterForeground();  // while a session is open
  game.settle();
  EXPECT_TRUE(game.log.contains("Active session in progress. Ending current session and starting new."));
  EXPECT_THAT(game.sent("session_end"), SizeIs(2));
  EXPECT_THAT(game.sent("user"), SizeIs(3));
}

TEST(Session, IsDisabledByA401UntilTheNextStart) {
  Game game;
  game.collector.answer(LoopbackServer::kInit, {401, "{}"});
  game.collector.answer(LoopbackServer::kInit, {200, "{}"});
  game.start();
  EXPECT_TRUE(game.log.contains("Could not start session: SDK is disabled."));
  ZVPlatform::applicationDidEnterBackground();
  EXPECT_TRUE(game.log.contains("SDK is disabled - cannot pause SDK and end session."));
  ZVPlatform::applicationWillEnterForeground();
  game.settle();
  EXPECT_THAT(game.sent("user"), SizeIs(1));
  EXPECT_TRUE(ZVEvents::isEventQueueTimerArmed());
}

TEST(Session, ByHandNeedsItsSwitch) {
  Game game;
  game.start();
  Zorvane::startSession();
  Zorvane::endSession();
  game.settle();
  EXPECT_TRUE(game.log.contains("Could not manually start a session as manual session handling is not enabled."));
  EXPECT_TRUE(game.log.contains("Could not manually end the session as manual session handling is not enabled."));
  EXPECT_THAT(game.sent("session_end"), IsEmpty());
  EXPECT_THAT(game.sent("user"), SizeIs(1));
}

TEST(Session, TakesTheBuildFromTheAppsVersionWhenAsked) {
  using Case = std::pair<std::optional<std::string>, std::string>;
  for (const auto& [version, build] : {Case{"2.5", "2.5"}, Case{"0.0.0", "mine"}, Case{std::nullopt, "mine"}}) {
    Game game;
    game.platform.device->change([&](ZVDeviceFacts&, ZVApplicationFacts& app) { app.version = version; });
    game.restart();
    Zorvane::configureBuild("mine");
    Zorvane::configureAutoDetectAppVersion(true);
    game.start();
    EXPECT_EQ(shown(game.sent("user").at(0), "build"), build);
  }
}

TEST(EventSubmission, SwitchedOffStoresAndSendsNothingButTheInitCallWithoutAUser) {
  Game game;
  Zorvane::setEnabledEventSubmission(false);
  game.start();
  Zorvane::addDesignEventWithEventId("unheard");
  Zorvane::addDesignEventWithEventId("un:heard:of:in:all:parts");  // not even reported as an error
  ZVEvents::processEventQueue(false);
  game.settle();
  ASSERT_THAT(game.collector.requests(), SizeIs(1));
  EXPECT_THAT(decompress(game.collector.requests()[0].body),
              testing::Optional(testing::StartsWith(R"({"user_id":"",)")));
  EXPECT_THAT(game.query("SELECT * FROM zv_events"), IsEmpty());
  EXPECT_EQ(ZVState::getSessionNum(), 0);
}

}  // namespace

// Whatever a collector answers: it is taken or refused, and what the game reports afterwards is stored and sent.
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

// Starts a session that gets `answer` for its init call.
void startSession(Game& game, const LoopbackServer::Answer& answer) {
  game.collector.answerOnly(LoopbackServer::kInit, answer);
  game.onQueue([] { ZVEvents::startNewSession(); });
}

void expectThatEventsGoOn(Game& game, const std::string& what) {
  const std::size_t before = game.sent("design").size();
  Zorvane::addDesignEventWithEventId("goes:on");
  game.settle();
  ASSERT_EQ(game.stored("design").size(), 1U) << what;
  game.onQueue([] { ZVEvents::processEventsWithCategory(nullptr, false); });
  EXPECT_EQ(game.stored("design").size(), 0U) << what;
  EXPECT_EQ(game.sent("design").size(), before + 1) << what;
}

std::string withConfiguration(const std::string& key, const std::string& value) {
  return R"({"configs":[{"key":")" + key + R"(","value":)" + value + R"(,"start_ts":null,"end_ts":null}]})";
}

std::string nested(std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); }

TEST(HostileAnswer, ToTheInitCallNeverSpoilsTheEventsAfterIt) {
  Game game;
  Zorvane::setEnabledInfoLog(true);
  game.collector.answer(LoopbackServer::kInit, {201, withConfiguration("kept", "\"v\"")});
  game.start();
  const std::string ones(80, '1');
  struct Case {
    std::string answer;
    bool taken;
  };
  for (const auto& [answer, taken] : {
           Case{withConfiguration("k", R"("\udc00")"), false},
           Case{withConfiguration(R"(\ude00)", "1"), false},
           Case{R"({"ab_id":"\udfff"})", false},
           Case{withConfiguration("k", "\"\xED\xB0\x80\""), false},
           Case{withConfiguration("k\xFF", "1"), false},
           Case{withConfiguration("k", "2e308"), false},
           Case{withConfiguration("k", "1" + std::string(300, '0') + "e300"), false},
           Case{R"({"server_ts":1e400})", false},
           Case{withConfiguration("k", "0." + ones + "e-403"), true},
           Case{withConfiguration("k", "[0e300,1e308,-1e-400,123456789012345678901234567890]"), true},
           Case{withConfiguration("k", R"("\u0000\ud83d\ude00\u2028/")"), true},
           Case{withConfiguration("k", nested(509)), true},  // as deep as a document may be
           Case{withConfiguration("k", nested(510)), false},
           Case{withConfiguration("k", "\"" + std::string(130'000, '/') + "\""), true},
           Case{withConfiguration("k", "\"" + std::string(132'000, '/') + "\""), false},
           Case{R"({"server_ts":-1e308})", true},
           Case{R"({"configs_hash":"a b\n#\u00e9"})", true},
       }) {
    const std::string shownAnswer = answer.substr(0, 100);
    game.log.clear();
    startSession(game, {201, answer});
    EXPECT_EQ(game.log.contains("Init call (session start) failed - using cached init values."), !taken) << shownAnswer;
    expectThatEventsGoOn(game, shownAnswer);
    startSession(game, {201, withConfiguration("kept", "\"v\"")});
    EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("kept"), "v") << "the next init call is made " << shownAnswer;
  }
}

// Asked for without it, the collector sends all of the configuration.
TEST(HostileAnswer, WithAHashThatCannotStandInAUrlCountsAsOneWithout) {
  Game game;
  game.collector.answer(LoopbackServer::kInit, {201, R"({"configs_hash":"a b"})"});
  game.start();
  const auto asksWithoutAHash = [&](std::size_t calls) {
    const auto init = game.collector.requests(LoopbackServer::kInit);
    ASSERT_EQ(init.size(), calls);
    EXPECT_TRUE(init.back().target.ends_with("&configs_hash=")) << init.back().target;
  };
  startSession(game, {200, "{}"});  // which carries over what is in force
  asksWithoutAHash(2);
  game.restart();
  game.start();
  asksWithoutAHash(3);
  startSession(game, {201, R"({"configs_hash":"good"})"});
  startSession(game, {200, "{}"});
  EXPECT_TRUE(game.collector.requests(LoopbackServer::kInit).back().target.ends_with("&configs_hash=good"));
}

TEST(HostileAnswer, ToEventsCostsThisBatchAtMost) {
  Game game;
  game.start();
  std::string many = "[";
  for (int i = 0; i < 2'000'000; ++i) many += "0,";
  many.back() = ']';
  for (const int status : {200, 400})
    for (const std::string& answer :
         {many, nested(2'000'000), "[" + std::string(400, '9') + "e999]", std::string("[\"\\udc00\"]"),
          std::string(4'000'000, '\xFF'), std::string(4'000'000, '\0')}) {
      game.collector.answerOnly(LoopbackServer::kEvents, {status, answer});
      expectThatEventsGoOn(game, answer.substr(0, 100));
    }
}

}  // namespace

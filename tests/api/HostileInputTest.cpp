// Whatever a game hands in, from wherever: a log line at most, and everything goes on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include <atomic>
#include <limits>
#include <thread>

#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::IsEmpty;
using testing::SizeIs;

const std::string kHuge(10 * 1024 * 1024, 'h');

TEST(HostileInput, InIdsAndFieldsCostsTheFieldOrTheEvent) {
  Game game;
  game.start();
  ZVValue deep = 1;
  for (int i = 0; i < 1000; ++i) deep = ZVValue(ZVValue::Array{std::move(deep)});
  ZVMap many;
  for (int i = 0; i < 60; ++i) many.set("k" + std::to_string(i), i);
  Zorvane::addDesignEventWithEventId("bad:fields", 1.0,
                                     {{"", 1},
                                      {kHuge, 1},
                                      {"huge", kHuge},
                                      {"bytes", "\xff"},
                                      {"\xff", 1},
                                      {"nan", std::numeric_limits<double>::quiet_NaN()},
                                      {"deep", std::move(deep)},
                                      {"null", nullptr},
                                      {"good", "kept"}});
  Zorvane::addDesignEventWithEventId("many:fields", 1.0, many);
  Zorvane::addDesignEventWithEventId("not:finite", std::numeric_limits<double>::infinity());
  Zorvane::addDesignEventWithEventId(kHuge, 1.0);
  Zorvane::addDesignEventWithEventId("%@ %s {} {0}", 1.0);
  Zorvane::addImpressionMaxEventWithAdNetworkVersion("1", {{"bytes", "\xff"}});
  game.settle();
  EXPECT_TRUE(game.log.contains("String: %@ %s {} {0}"));
  EXPECT_EQ(game.log.count("Warning/ZV/Analytics: Could not add event: "), 2U) << "infinity and bytes";
  EXPECT_THAT(game.stored("impression"), IsEmpty());
  const auto events = game.stored("design");
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(*events[0].find("custom_fields"), ZVValue(ZVMap{{"good", "kept"}}));
  EXPECT_THAT(*events[1].find("custom_fields")->ifMap(), SizeIs(50));
  for (const ZVMap& error : game.stored("error")) EXPECT_EQ(shown(error, "severity"), "warning");
}

TEST(HostileInput, FromManyThreadsAtOnceIsTakenInFull) {
  Game game;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      if (t == 0) Zorvane::initializeWithGameKey(Game::kKey, Game::kSecret);
      for (int i = 0; i < 200; ++i) {
        Zorvane::addDesignEventWithEventId("of:thread" + std::to_string(t), i);
        Zorvane::getRemoteConfigsValueAsString("none", "default");
        Zorvane::setEnabledWarningLog(i % 2 == 0);
      }
    });
  for (std::thread& thread : threads) thread.join();
  game.settle();
  EXPECT_THAT(game.stored("design").size(), testing::Ge(200U)) << "the first thread's at least";
}

TEST(HostileInput, FromObserversAndDelegatesNeitherHangsNorRecursesForEver) {
  class CallingDelegate : public ZVRemoteConfigsDelegate {
   public:
    void onRemoteConfigsUpdated() override {
      speed = Zorvane::getRemoteConfigsValueAsString("speed");
      Zorvane::addDesignEventWithEventId("from:delegate");
      throw std::runtime_error("the game's own fault");
    }
    std::optional<std::string> speed;
  };
  Game game;
  game.collector.answer(LoopbackServer::kInit,
                        {201, R"({"configs":[{"key":"speed","value":"fast","start_ts":null,"end_ts":null}]})"});
  const auto delegate = std::make_shared<CallingDelegate>();
  std::atomic<int> calls{0};
  const auto observer = ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, [&](const ZVNotification&) {
    if (++calls < 50) Zorvane::addDesignEventWithEventId("from:observer");
    Zorvane::getRemoteConfigsValueAsString("missing");
  });
  Zorvane::setRemoteConfigsDelegate(delegate);
  game.start();
  ZVNotificationCenter::removeObserver(observer);
  game.settle();
  EXPECT_EQ(delegate->speed, "fast");
  EXPECT_TRUE(game.log.contains("The remote configurations' delegate failed: the game's own fault"));
  EXPECT_FALSE(game.stored("design").empty());
}

}  // namespace

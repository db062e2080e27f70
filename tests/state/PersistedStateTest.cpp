#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "state/Records.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

std::string stateOf(Game& game, const std::string& key) {
  const auto rows = game.query("SELECT value FROM zv_state WHERE key = '" + key + "'");
  return rows.empty() ? "(none)" : *rows[0].find("value");
}

TEST(Dimensions, OfTheGameWinOverThoseOfEarlierRuns) {
  const auto configure = [] {
    Zorvane::configureAvailableCustomDimensions01(std::vector<std::string>{"old", "new"});
    Zorvane::configureAvailableCustomDimensions02(std::vector<std::string>{"kept"});
  };
  Game game;
  configure();
  Zorvane::setCustomDimension01("old");
  Zorvane::setCustomDimension02("kept");
  game.start();
  EXPECT_EQ(shown(game.sent("user")[0], "custom_01"), "old");
  game.restart();
  configure();
  Zorvane::setCustomDimension01("new");
  game.start();
  EXPECT_EQ(shown(game.sent("user")[1], "custom_01"), "new");
  EXPECT_EQ(shown(game.sent("user")[1], "custom_02"), "kept");
  EXPECT_EQ(stateOf(game, "dimension01"), "new");
  game.restart();  // without the lists what was kept is not allowed any more
  game.start();
  EXPECT_EQ(shown(game.sent("user")[2], "custom_01"), "(none)");
  EXPECT_EQ(stateOf(game, "dimension01"), "(none)");
}

TEST(SpoiltStorage, NeverSpoilsTheRecordsOfThisRun) {
  const std::string pair = R"({"configs":[{"key":"k","start_ts":null,"end_ts":null,"value":)";
  using Case = std::pair<std::string, std::string>;
  for (const auto& [userId, config] :
       {Case{"\xED\xB0\x80", "{}"}, Case{std::string(900'000, 'u'), "{}"}, Case{"u", pair + R"("\udc00"}]})"},
        Case{"u", pair + "2e308}]}"}, Case{"u", pair + "\"" + std::string(1'100'000, 'x') + "\"}]}"},
        Case{"u", pair + std::string(509, '[') + std::string(509, ']') + "}]}"}}) {
    Game game(TestPlatform::Change([](ZVPlatform& platform) {
      platform.device = [] { return ZVDeviceFacts{.systemVersion = "17.2", .hardwareName = "x"}; };
    }));
    game.onQueue([&] {
      ZVStore::persistStateRandomUserId(userId);
      ZVStore::setDbStateWithKey("sdk_config_cached", config);
      ZVStore::setDbStateWithKey("new_install", "NO");
    });
    game.collector.tear();  // the session starts with what was kept
    game.start();
    Zorvane::addDesignEventWithEventId("goes:on");
    game.settle();
    ASSERT_THAT(game.stored("design"), testing::SizeIs(1)) << userId.substr(0, 20) << config.substr(0, 100);
    game.collector.resume();
    ZVEvents::processEventQueue(false);
    game.settle();
    EXPECT_THAT(game.sent("design"), testing::SizeIs(1)) << userId.substr(0, 20) << config.substr(0, 100);
  }
}

TEST(CachedConfig, IsUsedOfflineAndItsHashDroppedForAnotherPlayer) {
  Game game;
  game.collector.answer(LoopbackServer::kInit,
                        {201, R"({"configs":[{"key":"k","value":"v","start_ts":null,"end_ts":null}],)"
                              R"("configs_hash":"first","ab_id":"a","ab_variant_id":"b"})"});
  game.collector.answer(LoopbackServer::kInit, {200, R"({"server_ts":1,"configs_hash":"not read from a 200"})"});
  Zorvane::configureUserId("one");
  game.start();
  for (const char* user : {"one", "one", "two"}) {
    game.restart();
    Zorvane::configureUserId(user);
    game.start();
    EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("k"), "v") << "a 200 keeps the configurations";
    EXPECT_EQ(Zorvane::getABTestingId(), "a");
    EXPECT_EQ(Zorvane::getABTestingVariantId(), "b");
  }
  std::vector<std::string> hashes;
  for (const auto& request : game.collector.requests(LoopbackServer::kInit))
    hashes.push_back(request.target.substr(request.target.rfind('=') + 1));
  EXPECT_THAT(hashes, testing::ElementsAre("", "first", "first", ""));
  EXPECT_EQ(game.log.count("New identifier spotted compared to last one used, clearing cached configs hash!!"), 1U);

  game.restart();
  game.collector.tear();
  game.start();
  EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("k"), "v");
  EXPECT_TRUE(ZVState::isEnabled());
}

TEST(PersistedState, ThatIsDamagedReadsAsAbsent) {
  Game game;
  game.onQueue([] {
    for (const auto& [key, value] : {std::pair{"session_num", "many"}, std::pair{"use_idfv", "maybe"},
                                     std::pair{"new_install", "NO"}, std::pair{"sdk_config_cached", "{\"torn"}})
      ZVStore::setDbStateWithKey(key, value);
  });
  game.collector.tear();
  game.start();
  EXPECT_EQ(ZVState::getSessionNum(), 1);
  EXPECT_FALSE(state().identity.prefersIdfv());
  EXPECT_EQ(Zorvane::getABTestingId(), "");
}

}  // namespace

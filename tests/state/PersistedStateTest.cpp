// What one run leaves for the next: who the player is, and the rest of the state.
#include <gmock/gmock.h>

#include <map>
#include <memory>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "state/Records.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

constexpr const char* kIdfa = "AAAAAAAA-0000-4000-8000-000000000001";
constexpr const char* kIdfv = "BBBBBBBB-0000-4000-8000-000000000002";

TEST(UserId, IsTheBestIdentifierThereIs) {
  struct Case {
    std::optional<std::string> custom;
    std::optional<std::string> idfa;  // absent: tracking is not authorised
    std::optional<std::string> idfv;
    std::string userId;      // "random": one that was made
    bool choseIdfa = false;  // an earlier run
  };
  for (const auto& [custom, idfa, idfv, userId, choseIdfa] :
       {Case{"player", kIdfa, kIdfv, "player"}, Case{{}, kIdfa, kIdfv, kIdfv}, Case{{}, kIdfa, {}, kIdfa},
        Case{{}, kIdfa, kIdfv, kIdfa, true}, Case{{}, {}, kIdfv, kIdfv}, Case{{}, {}, {}, "random"}}) {
    SCOPED_TRACE(custom.value_or("") + ' ' + idfa.value_or("") + ' ' + idfv.value_or(""));
    Game game;
    game.platform.device->change([&, &idfa = idfa, &idfv = idfv](ZVDeviceFacts& device, ZVApplicationFacts&) {
      device.trackingStatus = idfa ? 3 : 2;
      device.advertisingIdentifier = idfa;
      device.vendorIdentifier = idfv;
    });
    game.restart();
    if (custom) Zorvane::configureUserId(custom);
    if (choseIdfa) game.query("INSERT INTO zv_state VALUES('new_install', 'NO'), ('use_idfv', 'NO')");
    game.start();
    std::string chosen;
    game.onQueue([&] { chosen = ZVState::getUserId(); });
    const auto& defaults = *platform().userDefaults;
    EXPECT_EQ(chosen, userId == "random" ? defaults.stringForKey("zv_testflight_user_id") : userId);
    EXPECT_TRUE(userId != "random" || chosen.size() == 36U) << chosen;
    EXPECT_EQ(defaults.stringForKey("zv_last_used_identifier"), chosen);
    game.restart();
    if (custom) Zorvane::configureUserId(custom);
    game.start();
    game.onQueue([&] { EXPECT_EQ(ZVState::getUserId(), chosen) << "kept across runs"; });
  }
}

// A host's user defaults, which may be slow.
class CountingDefaults final : public ZVUserDefaults {
 public:
  std::optional<std::string> stringForKey(std::string_view key) const override {
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  void setString(std::string_view key, std::string_view value) override {
    ++writes;
    values_.insert_or_assign(std::string(key), std::string(value));
  }
  void removeKey(std::string_view key) override { values_.erase(values_.find(key)); }
  bool synchronize() override {
    ++flushes;
    return works;
  }
  int writes = 0, flushes = 0;
  bool works = true;

 private:
  std::map<std::string, std::string, std::less<>> values_;
};

TEST(LastUsedIdentifier, IsWrittenWhenItChangesAndUntilItIsSafe) {
  const auto defaults = std::make_shared<CountingDefaults>();
  Game game([&](ZVPlatform& platform) { platform.userDefaults = defaults; });
  Zorvane::configureUserId("one");
  game.start();
  const int once = defaults->flushes;
  for (int i = 0; i < 5; ++i) Zorvane::addDesignEventWithEventId("event");
  game.settle();
  EXPECT_EQ(defaults->flushes, once);
  EXPECT_EQ(defaults->writes, once);
  game.onQueue([&] {
    defaults->works = false;
    ZVState::setCustomUserId("two");
    ZVState::getUserId();
    defaults->works = true;
    for (int i = 0; i < 3; ++i) ZVState::getUserId();
  });
  EXPECT_EQ(defaults->flushes, once + 2);
  EXPECT_EQ(defaults->stringForKey("zv_last_used_identifier"), "two");
}

TEST(Dimensions, AreOfTheConfiguredValuesAndLastUntilTheGameSetsOthers) {
  const auto configure = [] {
    Zorvane::configureAvailableCustomDimensions01({"old", "new"});
    Zorvane::configureAvailableCustomDimensions01({"two", nullptr});
    Zorvane::configureAvailableCustomDimensions02({"kept"});
  };
  Game game;
  configure();
  Zorvane::setCustomDimension01("old");
  Zorvane::setCustomDimension02("kept");
  game.start();
  EXPECT_TRUE(game.log.contains("custom dimensions validation failed: was either not a string or null"));
  EXPECT_EQ(shown(game.sent("user")[0], "custom_01"), "old");
  game.restart();
  configure();
  Zorvane::setCustomDimension01("new");
  for (const auto set : {Zorvane::setCustomDimension02, Zorvane::setCustomDimension03}) set("other");
  game.start();
  EXPECT_EQ(game.log.count("Could not set custom02 dimension value to 'other'. Value not found in available custom02 "
                           "dimension values"),
            2U)
      << "the third fails like the second";
  EXPECT_EQ(shown(game.sent("user")[1], "custom_01"), "new");
  EXPECT_EQ(shown(game.sent("user")[1], "custom_02"), "kept");
  game.onQueue([] { ZVState::setAvailableCustomDimensions01({"else"}); });
  EXPECT_EQ(ZVState::getDimension01(), std::nullopt) << "cleared at once";
  EXPECT_TRUE(game.log.contains("Invalid dimension01 found in variable. Setting to nil. Invalid dimension: new"));
  EXPECT_TRUE(game.query("SELECT * FROM zv_state WHERE key = 'dimension01'").empty());
  game.restart();  // without the lists what was kept is not allowed any more
  game.start();
  EXPECT_EQ(shown(game.sent("user")[2], "custom_02"), "(none)");
}

TEST(SpoiltStorage, NeverSpoilsTheRecordsOfThisRun) {
  const std::string pair = R"({"configs":[{"key":"k","start_ts":null,"end_ts":null,"value":)";
  using Case = std::pair<std::string, std::string>;
  for (const auto& [userId, config] :
       {Case{"\xED\xB0\x80", "{}"}, Case{std::string(900'000, 'u'), "{}"}, Case{"u", pair + R"("\udc00"}]})"},
        Case{"u", pair + "2e308}]}"}, Case{"u", pair + "\"" + std::string(1'100'000, 'x') + "\"}]}"},
        Case{"u", pair + std::string(509, '[') + std::string(509, ']') + "}]}"}}) {
    Game game;
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

#include <gmock/gmock.h>

#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/Zorvane.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include "codecs/ZVHelpers.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

constexpr int kNow = 1'700'000'000;
constexpr const char* kEntry = R"({"key":"k","value":"v","start_ts":null,"end_ts":null})";

void populate(Game& game, const std::string& entries) {
  const auto config = ZVHelpers::dictionaryWithJsonString(R"({"configs":[)" + entries + "]}");
  ASSERT_TRUE(config) << entries;
  game.onQueue([&] { ZVState::populateConfigurations(*config->ifMap()); });
}

TEST(RemoteConfigs, AreActiveStrictlyBetweenTheirBounds) {
  using Case = std::pair<std::string, bool>;
  Game game;
  game.platform.clock->set(kNow);
  for (const auto& [bounds, active] :
       {Case{R"("start_ts":null,"end_ts":null)", true}, Case{R"("start_ts":1699999999,"end_ts":1700000001)", true},
        Case{R"("start_ts":1700000000,"end_ts":null)", false}, Case{R"("start_ts":null,"end_ts":1700000000)", false},
        Case{R"("start_ts":null)", false}, Case{R"("end_ts":null)", true},
        Case{R"("start_ts":"x","end_ts":"y")", false}}) {
    populate(game, R"({"key":"k","value":"v",)" + bounds + "}");
    EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("k", "default"), active ? "v" : "default") << bounds;
  }
}

TEST(RemoteConfigs, SkipWhatIsNullAndSayWhatCanNotBeAdded) {
  Game game;
  const std::string always = R"(,"start_ts":null,"end_ts":null})";
  populate(game, R"({"key":null,"value":"v")" + always + R"(,{"key":"k","value":null)" + always +
                     R"(,{"key":7,"value":"v")" + always + R"(,{"value":"v")" + always + R"(,{"key":"k")" + always +
                     R"(,"no entry",7)" + R"(,{"key":"twice","value":"first")" + always +
                     R"(,{"key":"twice","value":{"a":[1,true]})" + always);
  EXPECT_EQ(game.log.count("populateConfigurations failed - unable to add configuration"), 3U);
  EXPECT_TRUE(game.log.contains("unable to add configuration '7' with value 'v'."));
  EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("k"), std::nullopt);
  EXPECT_TRUE(game.log.contains("Warning/ZV/Analytics: Key 'k' has a NULL value. Returning defaultValue '(null)'."));
  EXPECT_THAT(*Zorvane::getRemoteConfigsValueAsString("twice"), testing::HasSubstr("a"));
  EXPECT_THAT(Zorvane::getRemoteConfigsContentAsString(), testing::HasSubstr("twice"));
}

TEST(RemoteConfigs, TellADelegateThatLivesWhenThereIsSomethingToTell) {
  struct Counter : ZVRemoteConfigsDelegate {
    void onRemoteConfigsUpdated() override {
      ++calls;
      readyThen = Zorvane::isRemoteConfigsReady();
    }
    int calls = 0;
    bool readyThen = true;
  };
  Game game;
  EXPECT_FALSE(Zorvane::isRemoteConfigsReady());
  auto counter = std::make_shared<Counter>();
  Zorvane::setRemoteConfigsDelegate(counter);
  populate(game, kEntry);
  EXPECT_EQ(counter->calls, 1);
  EXPECT_FALSE(counter->readyThen) << "notified before the flag is set";
  EXPECT_TRUE(Zorvane::isRemoteConfigsReady());
  populate(game, "");
  EXPECT_EQ(counter->calls, 1) << "nobody is notified of an empty map";
  EXPECT_TRUE(Zorvane::isRemoteConfigsReady());
  EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("k", ""), "");
  counter.reset();
  populate(game, kEntry);
  game.onQueue([] { ZVState::populateConfigurations({}); });
  EXPECT_EQ(Zorvane::getRemoteConfigsValueAsString("k"), "v") << "without a list the map stays";
}

// Whether another thread comes to the configurations while this one is inside the game's code.
bool areFree() {
  auto asked = std::async(std::launch::async, [] { return Zorvane::getRemoteConfigsContentAsString(); });
  return asked.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

TEST(RemoteConfigs, AreNotLockedWhileTheGameHearsOfThem) {
  struct Delegate : ZVRemoteConfigsDelegate {
    void onRemoteConfigsUpdated() override {
      wereFree = areFree();
      throw std::runtime_error("the game's own fault");
    }
    bool wereFree = false;
  };
  Game game;
  const auto delegate = std::make_shared<Delegate>();
  Zorvane::setRemoteConfigsDelegate(delegate);
  int lines = 0, free = 0;
  const auto observer =
      ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, [&](const ZVNotification& line) {
        const std::string& text = *line.userInfo.find("message")->ifString();
        if (text.find("configuration added") == text.npos && text.find("NULL value") == text.npos) return;
        ++lines;
        free += areFree() ? 1 : 0;
      });
  populate(game, kEntry);
  Zorvane::getRemoteConfigsValueAsString("none");
  ZVNotificationCenter::removeObserver(observer);
  EXPECT_TRUE(delegate->wereFree);
  EXPECT_TRUE(game.log.contains("The remote configurations' delegate failed: the game's own fault"));
  EXPECT_EQ(lines, 2);
  EXPECT_EQ(free, 2);
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include <functional>
#include <map>
#include <memory>

#include "device/ZVDevice.h"
#include "platform/Platform.h"
#include "state/ZVState.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

constexpr const char* kIdfa = "AAAAAAAA-0000-4000-8000-000000000001";
constexpr const char* kIdfv = "BBBBBBBB-0000-4000-8000-000000000002";

TEST(UserId, IsTheBestIdentifierThereIs) {
  struct Case {
    std::string name;
    std::optional<std::string> custom;
    std::optional<std::string> idfa;  // absent: tracking is not authorised
    std::optional<std::string> idfv;
    std::string userId;  // "random": one that was made
  };
  for (const auto& [name, custom, idfa, idfv, userId] : {
           Case{"custom wins", "player", kIdfa, kIdfv, "player"},
           Case{"idfv on a fresh installation", {}, kIdfa, kIdfv, kIdfv},
           Case{"idfa without idfv", {}, kIdfa, std::nullopt, kIdfa},
           Case{"later run without idfv preference", {}, kIdfa, kIdfv, kIdfa},
           Case{"idfv without tracking", {}, std::nullopt, kIdfv, kIdfv},
           Case{"random without both", {}, std::nullopt, std::nullopt, "random"},
           Case{"testflight with idfv", {}, kIdfa, kIdfv, kIdfv},
       }) {
    SCOPED_TRACE(name);
    Game game;
    game.platform.device->change([&, &idfa = idfa, &idfv = idfv](ZVDeviceFacts& device, ZVApplicationFacts&) {
      device.trackingStatus = idfa ? 3 : 2;
      device.advertisingIdentifier = idfa;
      device.vendorIdentifier = idfv;
    });
    game.restart();
    if (custom) Zorvane::configureUserId(custom);
    if (name == "later run without idfv preference")
      game.onQueue([] {
        ZVStore::setDbStateWithKey("new_install", "NO");
        ZVStore::setDbStateWithKey("use_idfv", "NO");
      });
    game.start();
    if (name == "testflight with idfv") {
      game.onQueue([] { ZVDevice::sharedInstance().setTestflightBuild(true); });
      game.onQueue([] { ZVState::generateRandomUserIdIfNeeded(); });
    }
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

}  // namespace

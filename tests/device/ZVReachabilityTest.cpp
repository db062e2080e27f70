#include "device/ZVReachability.h"

#include <gtest/gtest.h>

#include <vector>

#include <zorvane/ZVNotificationCenter.h>

#include "support/TestPlatform.h"

namespace {

using Source = ZVReachabilitySource;

constexpr std::uint32_t kR = Source::kReachable;
constexpr std::uint32_t kRequired = kR | Source::kConnectionRequired;

}  // namespace

TEST(Reachability, ReadsTheStatusFromTheFlags) {
  struct Case {
    std::uint32_t flags;
    int network;
    int localWiFi;
  };
  for (const auto& [flags, network, localWiFi] : {
           Case{0, 0, 0},
           Case{0xFFFF'FFFF & ~kR, 0, 0},
           Case{kR, 1, 0},
           Case{kRequired, 0, 0},
           Case{kRequired | Source::kConnectionOnDemand, 1, 0},
           Case{kRequired | Source::kConnectionOnTraffic, 1, 0},
           Case{kRequired | Source::kConnectionOnDemand | Source::kInterventionRequired, 0, 0},
           Case{kR | Source::kInterventionRequired, 1, 0},
           Case{kR | Source::kIsCellular, 1, 0},
           Case{kRequired | Source::kInterventionRequired | Source::kIsCellular, 1, 0},
           Case{Source::kIsDirect, 0, 0},
           Case{kRequired | Source::kIsDirect, 0, 1},
       }) {
    EXPECT_EQ(ZVReachability::networkStatusForFlags(flags), network) << std::hex << flags;
    EXPECT_EQ(ZVReachability::localWiFiStatusForFlags(flags), localWiFi) << std::hex << flags;
  }
}

TEST(Reachability, AsksForItsTargetEveryTime) {
  const auto test = TestPlatform::make();
  const auto internet = ZVReachability::reachabilityForInternetConnection();
  const auto local = ZVReachability::reachabilityForLocalWiFi();
  const auto host = ZVReachability::reachabilityWithHostName("collector.example.com");
  ASSERT_TRUE(internet && local && host);

  test.network->set(kR | Source::kIsCellular);
  EXPECT_TRUE(internet->isReachable() && internet->isReachableViaWiFi());
  EXPECT_FALSE(internet->isReachableViaWWAN());
  EXPECT_FALSE(local->isReachable());
  EXPECT_TRUE(host->isReachable());
  EXPECT_FALSE(host->connectionRequired());
  test.network->set(Source::kConnectionRequired);
  EXPECT_TRUE(host->isConnectionRequired());
  test.network->set(std::nullopt);
  EXPECT_EQ(host->currentReachabilityStatus(), ZVReachability::kNotReachable);
  EXPECT_FALSE(host->connectionRequired());

  const auto targets = test.network->targets();
  EXPECT_EQ(targets.front().address, (std::array<std::uint8_t, 4>{0, 0, 0, 0}));
  EXPECT_EQ(targets.at(3).address, (std::array<std::uint8_t, 4>{169, 254, 0, 0}));
  EXPECT_EQ(targets.back().hostName, "collector.example.com");
}

TEST(Reachability, IsNothingForARefusedTarget) {
  const auto test = TestPlatform::make();
  EXPECT_FALSE(ZVReachability::reachabilityWithHostName(""));
  const auto monitor = ZVReachability::reachabilityWithHostName("collector.example.com");
  test.network->refuse(true);
  EXPECT_FALSE(ZVReachability::reachabilityWithHostName("collector.example.com"));
  EXPECT_FALSE(ZVReachability::reachabilityForInternetConnection());
  EXPECT_FALSE(monitor->startNotifier());
}

TEST(Reachability, TellsOfChangesWhileItsNotifierRuns) {
  const auto test = TestPlatform::make();
  std::vector<const void*> told;
  const auto token =
      ZVNotificationCenter::addObserver("k_ZV_ReachabilityChangedNotification", [&](const auto& notification) {
        EXPECT_TRUE(notification.userInfo.empty());
        told.push_back(notification.object);
      });
  auto monitor = ZVReachability::reachabilityWithHostName("collector.example.com");
  const void* const self = monitor.get();
  test.network->tell();
  EXPECT_TRUE(told.empty());

  EXPECT_TRUE(monitor->startNotifier());
  EXPECT_TRUE(monitor->startNotifier());
  test.network->tell();
  EXPECT_EQ(told, std::vector{self}) << "started twice, told once";
  monitor->stopNotifier();
  test.network->tell();
  EXPECT_EQ(told.size(), 1u);

  EXPECT_TRUE(monitor->startNotifier());
  monitor.reset();
  test.network->tell();
  EXPECT_EQ(told.size(), 1u) << "released";
  ZVNotificationCenter::removeObserver(token);
}

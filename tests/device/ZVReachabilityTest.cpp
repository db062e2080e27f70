#include "device/ZVReachability.h"

#include <gtest/gtest.h>

#include <zorvane/ZVNotificationCenter.h>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

using Source = ZVReachabilitySource;

constexpr std::uint32_t kR = Source::kReachable;
constexpr std::uint32_t kRequired = kR | Source::kConnectionRequired;

}  // namespace

TEST(Reachability, ReadsTheStatusFromTheFlags) {
  using Case = std::tuple<std::uint32_t, int, int>;
  for (const auto& [flags, network, localWiFi] : {
           Case{0xFFFF'FFFF & ~kR, 0, 0},
           Case{kR, 1, 0},
           Case{kRequired, 0, 0},
           Case{kRequired | Source::kConnectionOnDemand, 1, 0},
           Case{kRequired | Source::kConnectionOnTraffic, 1, 0},
           Case{kRequired | Source::kConnectionOnDemand | Source::kInterventionRequired, 0, 0},
           Case{kR | Source::kIsCellular, 1, 0},
           Case{kRequired | Source::kInterventionRequired | Source::kIsCellular, 1, 0},
           Case{Source::kIsDirect, 0, 0},
           Case{kRequired | Source::kIsDirect, 0, 1},
       }) {
    EXPECT_EQ(ZVReachability::networkStatusForFlags(flags), network) << std::hex << flags;
    EXPECT_EQ(ZVReachability::localWiFiStatusForFlags(flags), localWiFi) << std::hex << flags;
  }
}

TEST(Reachability, TellsOfChangesWhileItsNotifierRuns) {
  const auto test = TestPlatform::make();
  int told = 0;
  const void* teller = nullptr;
  const auto token = ZVNotificationCenter::addObserver("k_ZV_ReachabilityChangedNotification", [&](const auto& change) {
    teller = change.object;
    ++told;
  });
  auto monitor = ZVReachability::reachabilityWithHostName("collector.example.com");
  const auto toldAfterAChange = [&] {
    told = 0;
    test.network->tell();
    return told;
  };
  EXPECT_EQ(toldAfterAChange(), 0);
  EXPECT_TRUE(monitor->startNotifier());
  EXPECT_TRUE(monitor->startNotifier());
  EXPECT_EQ(toldAfterAChange(), 1) << "started twice, notified once";
  EXPECT_EQ(teller, monitor.get());
  monitor->stopNotifier();
  EXPECT_EQ(toldAfterAChange(), 0);
  EXPECT_TRUE(monitor->startNotifier());
  monitor.reset();
  EXPECT_EQ(toldAfterAChange(), 0) << "released";
  ZVNotificationCenter::removeObserver(token);
}

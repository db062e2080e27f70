#include "device/ZVDevice.h"

#include <gtest/gtest.h>

#include <tuple>

#include <zorvane/ZVNotificationCenter.h>

#include "device/ZVReachability.h"
#include "state/ZVState.h"
#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

constexpr const char* kIdentifier = "6D92078A-8246-4BA4-AE5B-76104861E7DC";

class Device : public testing::Test {
 protected:
  ~Device() override { ZVDevice::setSharedInstance(nullptr); }

  // Sets one fact, and forgets what was kept.
  template <class Facts, class Fact>
  void give(Fact Facts::*fact, Fact value) {
    test.device->change([&](ZVDeviceFacts& device, ZVApplicationFacts& application) {
      std::get<Facts&>(std::tie(device, application)).*fact = std::move(value);
    });
    ZVDevice::setSharedInstance(nullptr);
  }
  TestPlatform test = TestPlatform::make();
  LogCapture log;
};

TEST_F(Device, NamesItsModelInAtMost32Characters) {
  EXPECT_EQ(ZVDevice::osPlatform() + ' ' + ZVDevice::osVersion() + ' ' + ZVDevice::deviceMake(), "ios 17.2 apple");
  const std::string of32(32, 'm');
  using Case = std::pair<std::string, std::string>;
  for (const auto& [name, model] :
       {Case{"", "unknown"}, Case{"bad \xC3", "unknown"}, Case{of32, of32}, Case{of32 + 'm', of32}}) {
    give(&ZVDeviceFacts::hardwareName, name);
    EXPECT_EQ(ZVDevice::deviceModel(), model) << name;
  }
  give(&ZVDeviceFacts::systemVersion, std::string("\xFF"));
  EXPECT_EQ(ZVDevice::osVersion(), "");
}

TEST_F(Device, IsCalledWhatItAlwaysWasUnlessTheHostSaysOtherwise) {
  const std::string of64(64, 's');
  using Given = std::optional<std::string>;
  using Case = std::pair<Given, Given>;
  for (const auto& [given, expected] : {Case{"linux", "linux"}, Case{of64, of64}, Case{of64 + "s", of64}, Case{{}, {}},
                                        Case{"", {}}, Case{"\xFF", {}}}) {
    give(&ZVDeviceFacts::maker, given);
    give(&ZVDeviceFacts::platformName, given);
    EXPECT_EQ(ZVDevice::deviceMake(), expected.value_or("apple"));
    EXPECT_EQ(ZVDevice::osPlatform(), expected.value_or("ios"));
    EXPECT_EQ(ZVDevice::osLine(), expected.value_or("ios") + " 17.2");
    give(&ZVDeviceFacts::systemLine, given);
    EXPECT_EQ(ZVDevice::osLine(), expected.value_or("ios 17.2"));
    give(&ZVDeviceFacts::systemLine, Given());
  }
}

TEST_F(Device, ChecksTheApplicationsFactsAndHasAValueForAbsentOnes) {
  const std::string of64(64, '1');
  const std::string of65(65, '1');
  const std::string of257(257, 'b');
  // `line`: the only one, however often the fact is asked for; "": none.
  const auto expect = [&](auto fact, std::string (*answer)(), const std::optional<std::string>& given,
                          const std::string& expected, const std::string& line = "") {
    give(fact, given);
    log.clear();
    for (int i = 0; i < 2; ++i) EXPECT_EQ(answer(), expected);
    EXPECT_EQ(log.lines(), line.empty() ? std::vector<std::string>{} : std::vector{line});
  };
  const std::string warning = "Warning/ZV/Analytics: The ";
  const std::string info = "Info/ZV/Analytics: The app ";
  const std::string check = " is null - using default value '0.0.0'. Check your general project settings.";
  const auto bundle = &ZVApplicationFacts::bundleIdentifier;
  expect(bundle, ZVDevice::appBundleIdentifier, "com.example.game", "com.example.game");
  expect(bundle, ZVDevice::appBundleIdentifier, of257, of257,
         warning + "declared bundle identifier is not matching the pattern \"com.company_name.app_name\". String: " +
             of257 + '.');
  expect(bundle, ZVDevice::appBundleIdentifier, std::nullopt, "unassigned",
         warning + "app bundle identifier is null. Check your build settings.");
  const auto version = &ZVApplicationFacts::version;
  expect(version, ZVDevice::appVersion, of64, of64);
  expect(version, ZVDevice::appVersion, of65, of65,
         info + "version should not be longer than 64 characterss. Given string: '" + of65 + '\'');
  expect(version, ZVDevice::appVersion, std::nullopt, "0.0.0", warning + "app version" + check);
  const auto build = &ZVApplicationFacts::build;
  expect(build, ZVDevice::appBuild, of64, of64);
  expect(build, ZVDevice::appBuild, of65, of65,
         info + "build should not be longer than 64 characters. Given string: '" + of65 + '\'');
  expect(build, ZVDevice::appBuild, "\xC0\xAF", "0.0.0", warning + "app build" + check);
}

TEST_F(Device, GivesTheAdvertisingIdentifierOnlyWhenThePlayerAgreed) {
  using Case = std::tuple<bool, int, bool, const char*, bool, bool>;
  for (const auto& [asks, status, enabled, consent, limited, zero] :
       {Case{true, 0, true, "not_determined", true, true}, Case{true, 1, true, "restricted", true, true},
        Case{true, 2, true, "denied", true, true}, Case{true, 3, false, "authorized", false, false},
        Case{true, 7, true, "not_determined", true, true}, Case{false, 0, true, "", false, false},
        Case{false, 3, false, "", true, false}}) {
    give(&ZVDeviceFacts::asksForTracking, asks);
    give(&ZVDeviceFacts::trackingStatus, status);
    give(&ZVDeviceFacts::advertisingTrackingEnabled, enabled);
    give(&ZVDeviceFacts::advertisingIdentifier, std::optional<std::string>(kIdentifier));
    log.clear();
    EXPECT_EQ(ZVDevice::idfaConsent(), consent) << status;
    EXPECT_EQ(ZVDevice::isLimitedAdTracking(), limited) << status;
    EXPECT_EQ(ZVDevice::idfa(), zero ? ZVDevice::kZeroIdentifier : kIdentifier) << status;
    EXPECT_EQ(ZVDevice::isZeroIdfa(), zero) << status;
    EXPECT_EQ(log.contains("can't get IDFA"), zero) << status;
    EXPECT_TRUE(log.contains(zero ? "Debug/ZV/Analytics: Checked idfa: is zero or None"
                                  : "Debug/ZV/Analytics: Checked \x10idfa: is NOT zero or None"));
  }
  give(&ZVDeviceFacts::advertisingIdentifier, std::optional<std::string>());
  EXPECT_EQ(ZVDevice::idfa(), ZVDevice::kZeroIdentifier) << "a host without one";
}

TEST_F(Device, KeepsAnswersAndForgetsThoseThatMayChange) {
  const auto answers = [] { return ZVDevice::deviceModel() + (ZVDevice::isLimitedAdTracking() ? " limited" : ""); };
  EXPECT_EQ(answers(), "Phone12,1 limited");
  ZVDevice::isJailbroken();
  test.device->change([](ZVDeviceFacts& device, ZVApplicationFacts&) {
    device.hardwareName = "other";
    device.trackingStatus = 3;
  });
  EXPECT_EQ(answers(), "Phone12,1 limited");
  ZVDevice::clearCachedResults();
  EXPECT_EQ(answers(), "Phone12,1");
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(ZVDevice::isJailbroken() || ZVDevice::isTestflightBuild());
  EXPECT_EQ(log.count("Checked jailbroken status: device is NOT jailbroken."), 2u);
  EXPECT_EQ(log.count("Checked testflight status: is NOT in testflight mode."), 1u);
}

TEST_F(Device, FollowsTheConnection) {
  test.network->set(std::nullopt);
  EXPECT_EQ(ZVDevice::connectionType(), "offline");
  test.network->set(ZVReachabilitySource::kReachable);
  EXPECT_EQ(ZVDevice::connectionType(), "offline") << "kept until a change is reported";
  test.network->tell();
  EXPECT_EQ(ZVDevice::connectionType(), "wifi");
  EXPECT_EQ(test.network->targets().back().hostName, "127.0.0.1") << "the collector's host is what is watched";

  const int stranger = 0;
  test.network->set(0);
  ZVNotificationCenter::post(k_ZV_ReachabilityChangedNotification, &stranger, {});
  EXPECT_EQ(ZVDevice::connectionType(), "wifi") << "posted by somebody else";
  EXPECT_TRUE(ZVState::hasConnection());
  test.network->tell();
  EXPECT_EQ(ZVDevice::connectionType(), "offline");
  EXPECT_FALSE(ZVState::hasConnection());
  EXPECT_TRUE(log.contains("Reachability changed: Access Not Available"));

  ZVDevice::setSharedInstance(nullptr);
  test.network->refuse(true);
  EXPECT_EQ(ZVDevice::connectionType(), "") << "no reading yet";
  test.network->refuse(false);
  test.network->set(ZVReachabilitySource::kReachable | ZVReachabilitySource::kIsCellular);
  EXPECT_EQ(ZVDevice::connectionType(), "wifi");
}

TEST(Reachability, ReadsTheStatusFromTheFlags) {
  using Source = ZVReachabilitySource;
  constexpr std::uint32_t kR = Source::kReachable;
  constexpr std::uint32_t kRequired = kR | Source::kConnectionRequired;
  using Case = std::tuple<std::uint32_t, int, int>;
  for (const auto& [flags, network, localWiFi] :
       {Case{0xFFFF'FFFF & ~kR, 0, 0}, Case{kRequired, 0, 0}, Case{kRequired | Source::kConnectionOnDemand, 1, 0},
        Case{kRequired | Source::kConnectionOnTraffic, 1, 0},
        Case{kRequired | Source::kConnectionOnDemand | Source::kInterventionRequired, 0, 0},
        Case{kRequired | Source::kInterventionRequired | Source::kIsCellular, 1, 0}, Case{Source::kIsDirect, 0, 0},
        Case{kRequired | Source::kIsDirect, 0, 1}}) {
    EXPECT_EQ(ZVReachability::networkStatusForFlags(flags), network) << std::hex << flags;
    EXPECT_EQ(ZVReachability::localWiFiStatusForFlags(flags), localWiFi) << std::hex << flags;
  }
}

TEST(Reachability, TellsOfChangesWhileItsNotifierRuns) {
  const auto test = TestPlatform::make();
  int notified = 0;
  const auto token =
      ZVNotificationCenter::addObserver("k_ZV_ReachabilityChangedNotification", [&](const auto&) { ++notified; });
  const auto monitor = ZVReachability::reachabilityWithHostName("collector.example.com");
  const auto notifiedOfAChange = [&] {
    notified = 0;
    test.network->tell();
    return notified;
  };
  EXPECT_EQ(notifiedOfAChange(), 0);
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(monitor->startNotifier());
  EXPECT_EQ(notifiedOfAChange(), 1) << "started twice, notified once";
  monitor->stopNotifier();
  EXPECT_EQ(notifiedOfAChange(), 0);
  ZVNotificationCenter::removeObserver(token);
}

}  // namespace

#include "device/ZVDevice.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <zorvane/ZVNotificationCenter.h>

#include "device/ZVReachability.h"
#include "support/TestPlatform.h"

namespace {

constexpr const char* kIdentifier = "6D92078A-8246-4BA4-AE5B-76104861E7DC";

class Device : public testing::Test {
 protected:
  ~Device() override { ZVDevice::setSharedInstance(nullptr); }

  // Sets one fact, and forgets what was kept.
  template <class Fact, class Value>
  void give(Fact fact, Value value) {
    test.device->change([&](ZVDeviceFacts& device, ZVApplicationFacts& application) {
      if constexpr (std::is_invocable_v<Fact, ZVDeviceFacts&>) fact(device) = value;
      else fact(application) = value;
    });
    ZVDevice::setSharedInstance(nullptr);
  }
  void track(bool asks, int status, bool enabled) {
    test.device->change([&](ZVDeviceFacts& device, ZVApplicationFacts&) {
      device.asksForTracking = asks;
      device.trackingStatus = status;
      device.advertisingTrackingEnabled = enabled;
      device.advertisingIdentifier = kIdentifier;
    });
    ZVDevice::clearCachedResults();
  }

  TestPlatform test = TestPlatform::make();
  LogCapture log;
};

constexpr auto kHardware = [](ZVDeviceFacts & device) -> auto& { return device.hardwareName; };
constexpr auto kSystem = [](ZVDeviceFacts & device) -> auto& { return device.systemVersion; };
constexpr auto kFoundation = [](ZVDeviceFacts & device) -> auto& { return device.foundationVersion; };
constexpr auto kVendor = [](ZVDeviceFacts & device) -> auto& { return device.vendorIdentifier; };
constexpr auto kAdvertising = [](ZVDeviceFacts & device) -> auto& { return device.advertisingIdentifier; };
constexpr auto kBundle = [](ZVApplicationFacts & application) -> auto& { return application.bundleIdentifier; };
constexpr auto kVersion = [](ZVApplicationFacts & application) -> auto& { return application.version; };
constexpr auto kBuild = [](ZVApplicationFacts & application) -> auto& { return application.build; };
constexpr auto kResources = [](ZVApplicationFacts & application) -> auto& { return application.resourceDirectory; };

}  // namespace

TEST_F(Device, NamesItsModelInAtMost32Characters) {
  EXPECT_EQ(ZVDevice::osPlatform() + ' ' + ZVDevice::osVersion() + ' ' + ZVDevice::deviceMake(), "ios 17.2 apple");
  const std::string of32(32, 'm');
  for (const auto& [name, model] : {std::pair<std::string, std::string>{"", "unknown"},
                                    {"bad \xC3", "unknown"},
                                    {of32, of32},
                                    {of32 + 'm', of32},
                                    {std::string(40, 'm'), of32}}) {
    give(kHardware, name);
    EXPECT_EQ(ZVDevice::deviceModel(), model) << name;
  }
  give(kSystem, "\xFF");
  EXPECT_EQ(ZVDevice::osVersion(), "");
}

TEST_F(Device, ChecksTheApplicationsFactsAndHasAValueForAbsentOnes) {
  const std::string of64(64, '1');
  const std::string of65(65, '1');
  const std::string of257(257, 'b');
  struct Case {
    std::function<std::optional<std::string>&(ZVApplicationFacts&)> fact;
    std::string (*answer)();
    std::optional<std::string> given;
    std::string expected;
    std::string line;  // empty: none
  };
  const Case cases[] = {
      {kBundle, ZVDevice::appBundleIdentifier, "com.example.game", "com.example.game", ""},
      {kBundle, ZVDevice::appBundleIdentifier, of257, of257,
       "Warning/ZV/Analytics: The declared bundle identifier is not matching the pattern "
       "\"com.company_name.app_name\". "
       "String: " +
           of257 + '.'},
      {kBundle, ZVDevice::appBundleIdentifier, std::nullopt, "unassigned",
       "Warning/ZV/Analytics: The app bundle identifier is null. Check your build settings."},
      {kVersion, ZVDevice::appVersion, of64, of64, ""},
      {kVersion, ZVDevice::appVersion, of65, of65,
       "Info/ZV/Analytics: The app version should not be longer than 64 characterss. Given string: '" + of65 + '\''},
      {kVersion, ZVDevice::appVersion, std::nullopt, "0.0.0",
       "Warning/ZV/Analytics: The app version is null - using default value '0.0.0'. Check your general project "
       "settings."},
      {kBuild, ZVDevice::appBuild, of64, of64, ""},
      {kBuild, ZVDevice::appBuild, of65, of65,
       "Info/ZV/Analytics: The app build should not be longer than 64 characters. Given string: '" + of65 + '\''},
      {kBuild, ZVDevice::appBuild, "\xC0\xAF", "0.0.0",
       "Warning/ZV/Analytics: The app build is null - using default value '0.0.0'. Check your general project "
       "settings."},
  };
  for (const auto& [fact, answer, given, expected, line] : cases) {
    give(fact, given);
    log.clear();
    EXPECT_EQ(answer(), expected);
    EXPECT_EQ(answer(), expected) << "kept";
    EXPECT_EQ(log.lines(), line.empty() ? std::vector<std::string>{} : std::vector{line});
  }
  give(kBundle, std::nullopt);
  EXPECT_EQ(ZVDevice::getBundleIdentifier(), std::nullopt);
}

TEST_F(Device, GivesTheAdvertisingIdentifierOnlyWhenThePlayerAgreed) {
  struct Case {
    bool asks;
    int status;
    bool enabled;
    const char* consent;
    bool limited;
    bool zero;
  };
  for (const auto& [asks, status, enabled, consent, limited, zero] : {
           Case{true, 0, true, "not_determined", true, true},
           Case{true, 1, true, "restricted", true, true},
           Case{true, 2, true, "denied", true, true},
           Case{true, 3, false, "authorized", false, false},
           Case{true, 7, true, "not_determined", true, true},
           Case{true, -1, true, "not_determined", true, true},
           Case{false, 0, true, "", false, false},
           Case{false, 3, false, "", true, false},
       }) {
    track(asks, status, enabled);
    log.clear();
    EXPECT_EQ(ZVDevice::idfaConsent(), consent) << status;
    EXPECT_EQ(ZVDevice::isLimitedAdTracking(), limited) << status;
    EXPECT_EQ(ZVDevice::idfa(), zero ? ZVDevice::kZeroIdentifier : kIdentifier) << status;
    EXPECT_EQ(ZVDevice::isZeroIdfa(), zero) << status;
    EXPECT_EQ(log.contains("can't get IDFA"), zero) << status;
    EXPECT_TRUE(log.contains(zero ? "Debug/ZV/Analytics: Checked idfa: is zero or None"
                                  : "Debug/ZV/Analytics: Checked \x10idfa: is NOT zero or None"));
  }
  give(kAdvertising, std::nullopt);
  EXPECT_EQ(ZVDevice::idfa(), ZVDevice::kZeroIdentifier) << "a host without one";
}

TEST_F(Device, HasAVendorIdentifierWhenThePlatformHasOne) {
  for (const auto& [given, zero, line] :
       {std::tuple<std::optional<std::string>, bool, std::string>{std::nullopt, true, "Getting idfv: (null)"},
        {"", true, "Getting idfv: "},
        {std::string(ZVDevice::kZeroIdentifier), true, "Getting idfv: 00000000-"},
        {kIdentifier, false, "Getting idfv: 6D92078A-"}}) {
    give(kVendor, given);
    log.clear();
    EXPECT_EQ(ZVDevice::idfv(), given);
    EXPECT_TRUE(log.contains(line)) << line;
    EXPECT_EQ(ZVDevice::isZeroIdfv(), zero) << line;
  }
}

TEST_F(Device, KeepsAnswersAndForgetsThoseThatMayChange) {
  ZVDevice::deviceModel();
  ZVDevice::isLimitedAdTracking();
  ZVDevice::isJailbroken();
  ZVDevice::isTestflightBuild();
  const int asked = test.device->asked();
  ZVDevice::deviceModel();
  ZVDevice::isLimitedAdTracking();
  EXPECT_EQ(test.device->asked(), asked);

  ZVDevice::clearCachedResults();
  ZVDevice::deviceModel();
  EXPECT_EQ(test.device->asked(), asked);
  ZVDevice::isLimitedAdTracking();
  EXPECT_EQ(test.device->asked(), asked + 1);
  EXPECT_FALSE(ZVDevice::isJailbroken());
  EXPECT_FALSE(ZVDevice::isTestflightBuild());
  EXPECT_EQ(log.count("Checked jailbroken status: device is NOT jailbroken."), 2u);
  EXPECT_EQ(log.count("Checked testflight status: is NOT in testflight mode."), 2u);
  ZVDevice::sharedInstance().setTestflightBuild(true);
  EXPECT_TRUE(ZVDevice::isTestflightBuild());
}

TEST_F(Device, KnowsOldSystemsByTheirFoundation) {
  for (const auto& [version, old] : {std::pair{992.0, true}, {993.99, true}, {994.0, false}, {2000.0, false}}) {
    give(kFoundation, version);
    EXPECT_EQ(ZVDevice::deviceIsLowerOrEqualToIos6(), old) << version;
  }
}

TEST_F(Device, FollowsTheConnection) {
  test.network->set(std::nullopt);
  EXPECT_EQ(ZVDevice::connectionType(), "offline");
  test.network->set(ZVReachabilitySource::kReachable);
  EXPECT_EQ(ZVDevice::connectionType(), "offline") << "kept until a change is told";
  test.network->tell();
  EXPECT_EQ(ZVDevice::connectionType(), "wifi");
  EXPECT_TRUE(log.contains("Debug/ZV/Analytics: Reachability changed: Reachable WiFi"));
  EXPECT_EQ(test.network->targets().back().hostName, "127.0.0.1") << "the collector's host is what is watched";

  const int stranger = 0;
  test.network->set(0);
  ZVNotificationCenter::post(k_ZV_ReachabilityChangedNotification, &stranger, {});
  EXPECT_EQ(ZVDevice::connectionType(), "wifi") << "told by somebody else";
  test.network->tell();
  EXPECT_EQ(ZVDevice::connectionType(), "offline");
  EXPECT_TRUE(log.contains("Reachability changed: Access Not Available"));

  ZVDevice::setSharedInstance(nullptr);
  test.network->refuse(true);
  EXPECT_EQ(ZVDevice::connectionType(), "") << "no reading yet";
  test.network->refuse(false);
  test.network->set(ZVReachabilitySource::kReachable | ZVReachabilitySource::kIsCellular);
  EXPECT_EQ(ZVDevice::connectionType(), "wifi");
}

TEST_F(Device, FindsAnEmbeddedProvision) {
  EXPECT_FALSE(ZVDevice::sharedInstance().hasEmbeddedMobileProvision());
  give(kResources, test.folder.path());
  EXPECT_FALSE(ZVDevice::sharedInstance().hasEmbeddedMobileProvision());
  std::ofstream(test.folder.file("embedded.mobileprovision")) << "profile";
  EXPECT_TRUE(ZVDevice::sharedInstance().hasEmbeddedMobileProvision());
}

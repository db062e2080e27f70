// ZVDevice answers every question about the device, the system, the application and its advertising identifiers. Each
// answer is asked of the platform once and then kept.
//
// Thread:   the work queue; the connection type and isTestflightBuild() also elsewhere.
// Lifetime: one instance, made by the state record, kept for the life of the process.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVPlatform.h>

namespace zorvane {

class ZVReachability;

class ZVDevice {
 public:
  static constexpr std::string_view kZeroIdentifier = "00000000-0000-0000-0000-000000000000";

  ZVDevice();
  ~ZVDevice();
  ZVDevice(const ZVDevice&) = delete;
  ZVDevice& operator=(const ZVDevice&) = delete;

  static ZVDevice& sharedInstance();
  static std::unique_ptr<ZVDevice> setSharedInstance(std::unique_ptr<ZVDevice> instance);

  static std::string osPlatform();  // "ios", unless the host says otherwise
  static std::string osVersion();
  static std::string osLine();  // both, unless the host says otherwise
  static std::string deviceModel();
  static std::string deviceMake();      // "apple", unless the host says otherwise
  static std::string connectionType();  // "offline", "wwan", "wifi"; "" before the first reading
  static std::string appBundleIdentifier();
  static std::string appVersion();
  static std::string appBuild();
  static std::string idfaConsent();
  static std::string idfa();                                // not kept
  static std::optional<std::string> idfv();                 // not kept
  static std::optional<std::string> getBundleIdentifier();  // not kept
  static bool isLimitedAdTracking();
  static bool isJailbroken();
  static bool isTestflightBuild();
  static bool isZeroIdfa();
  static bool isZeroIdfv();
  static void clearCachedResults();
  static bool deviceIsLowerOrEqualToIos6();

  [[nodiscard]] bool checkJailbroken() const { return false; }
  [[nodiscard]] bool isAppStoreReceiptSandbox() const { return false; }
  [[nodiscard]] bool hasEmbeddedMobileProvision() const;
  [[nodiscard]] bool isRunningInTestFlightEnvironment() const { return false; }
  void reachabilityChanged(const ZVReachability& monitor);
  void setTestflightBuild(bool value);

 private:
  std::string getConnectionType();

  std::shared_ptr<ZVReachability> hostReachability_;
  std::uint64_t observer_ = 0;
  std::mutex guard_;
  std::optional<std::string> connectionType_;  // guarded by guard_; written by the main loop, too
  std::optional<bool> testflightBuild_;        // guarded by guard_
  std::optional<std::string> osPlatform_;
  std::optional<std::string> osVersion_;
  std::optional<std::string> osLine_;
  std::optional<std::string> deviceMake_;
  std::optional<std::string> deviceModel_;
  std::optional<std::string> appBundleIdentifier_;
  std::optional<std::string> appVersion_;
  std::optional<std::string> appBuild_;
  std::optional<std::string> idfaConsent_;
  std::optional<bool> jailbroken_;
  std::optional<bool> limitedAdTracking_;
  std::optional<bool> zeroIdfa_;
  std::optional<bool> zeroIdfv_;
};

}  // namespace zorvane

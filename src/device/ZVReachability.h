// ZVReachability: whether one target can be reached now, and, once its notifier is started, a notification
// (k_ZV_ReachabilityChangedNotification, the monitor as its object) on every change.
//
// Thread:   status questions on any thread; notifications come on the main loop.
// Lifetime: releasing a monitor stops its notifier.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include <zorvane/ZVPlatform.h>

namespace zorvane {

class ZVReachability {
 public:
  // 2, a cellular path, is never produced: it counts as 1.
  enum Status { kNotReachable = 0, kReachableViaWiFi = 1, kReachableViaWWAN = 2 };

  // Absent (null) when the platform refuses the target.
  static std::shared_ptr<ZVReachability> reachabilityWithHostName(std::string_view hostName);
  static std::shared_ptr<ZVReachability> reachabilityWithAddress(std::array<std::uint8_t, 4> address);
  static std::shared_ptr<ZVReachability> reachabilityForInternetConnection();
  static std::shared_ptr<ZVReachability> reachabilityForLocalWiFi();

  ~ZVReachability();
  ZVReachability(const ZVReachability&) = delete;
  ZVReachability& operator=(const ZVReachability&) = delete;

  bool startNotifier();
  void stopNotifier();

  [[nodiscard]] Status currentReachabilityStatus() const;
  [[nodiscard]] bool connectionRequired() const;
  [[nodiscard]] bool isConnectionRequired() const { return connectionRequired(); }
  [[nodiscard]] bool isReachable() const;
  [[nodiscard]] bool isReachableViaWWAN() const;
  [[nodiscard]] bool isReachableViaWiFi() const;

  static Status networkStatusForFlags(std::uint32_t flags);
  static Status localWiFiStatusForFlags(std::uint32_t flags);

 private:
  ZVReachability(ZVReachabilityTarget target, bool localWiFi);
  static std::shared_ptr<ZVReachability> make(ZVReachabilityTarget target, bool localWiFi);

  const ZVReachabilityTarget target_;
  const bool localWiFi_;
  std::weak_ptr<ZVReachability> self_;
  ZVReachabilitySource::WatchId watch_ = 0;  // touched by the thread that starts and stops the notifier
};

}  // namespace zorvane

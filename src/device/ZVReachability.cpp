#include "device/ZVReachability.h"

#include <string>
#include <utility>

#include <zorvane/ZVNotificationCenter.h>

#include "platform/Platform.h"

const char* const k_ZV_ReachabilityChangedNotification = "k_ZV_ReachabilityChangedNotification";

namespace zorvane {

namespace {

using Source = ZVReachabilitySource;

constexpr std::array<std::uint8_t, 4> kAnyAddress{0, 0, 0, 0};
constexpr std::array<std::uint8_t, 4> kLinkLocalNetwork{169, 254, 0, 0};

}  // namespace

ZVReachability::ZVReachability(ZVReachabilityTarget target, bool localWiFi)
    : target_(std::move(target)), localWiFi_(localWiFi) {}

ZVReachability::~ZVReachability() { stopNotifier(); }

std::shared_ptr<ZVReachability> ZVReachability::make(ZVReachabilityTarget target, bool localWiFi) {
  if (!platform().reachability->accepts(target)) return nullptr;
  std::shared_ptr<ZVReachability> monitor(new ZVReachability(std::move(target), localWiFi));
  monitor->self_ = monitor;
  return monitor;
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityWithHostName(std::string_view hostName) {
  if (hostName.empty()) return nullptr;  // the platform would take it for an address
  return make({.hostName = std::string(hostName)}, false);
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityWithAddress(std::array<std::uint8_t, 4> address) {
  return make({.hostName = {}, .address = address}, false);
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityForInternetConnection() {
  return reachabilityWithAddress(kAnyAddress);
}

std::shared_ptr<ZVReachability> ZVReachability::reachabilityForLocalWiFi() {
  return make({.hostName = {}, .address = kLinkLocalNetwork}, true);
}

bool ZVReachability::startNotifier() {
  if (watch_ != 0) return true;
  watch_ = platform().reachability->watch([self = self_] {
    if (const auto monitor = self.lock())
      ZVNotificationCenter::post(k_ZV_ReachabilityChangedNotification, monitor.get(), ZVMap());
  });
  return watch_ != 0;
}

void ZVReachability::stopNotifier() {
  if (const auto watch = std::exchange(watch_, 0); watch != 0) platform().reachability->unwatch(watch);
}

ZVReachability::Status ZVReachability::currentReachabilityStatus() const {
  const auto flags = platform().reachability->flags(target_);
  if (!flags) return kNotReachable;
  return localWiFi_ ? localWiFiStatusForFlags(*flags) : networkStatusForFlags(*flags);
}

bool ZVReachability::connectionRequired() const {
  return (platform().reachability->flags(target_).value_or(0) & Source::kConnectionRequired) != 0;
}

bool ZVReachability::isReachable() const { return isReachableViaWiFi() || isReachableViaWWAN(); }
bool ZVReachability::isReachableViaWWAN() const { return currentReachabilityStatus() == kReachableViaWWAN; }
bool ZVReachability::isReachableViaWiFi() const { return currentReachabilityStatus() == kReachableViaWiFi; }

ZVReachability::Status ZVReachability::networkStatusForFlags(std::uint32_t flags) {
  const auto has = [flags](std::uint32_t bits) { return (flags & bits) != 0; };
  if (!has(Source::kReachable)) return kNotReachable;
  const bool connectsByItself =
      has(Source::kConnectionOnDemand | Source::kConnectionOnTraffic) && !has(Source::kInterventionRequired);
  // A cellular path counts as Wi-Fi: what is sent as the connection type depends on it.
  const bool reachable = has(Source::kIsCellular) || !has(Source::kConnectionRequired) || connectsByItself;
  return reachable ? kReachableViaWiFi : kNotReachable;
}

ZVReachability::Status ZVReachability::localWiFiStatusForFlags(std::uint32_t flags) {
  constexpr std::uint32_t kBoth = Source::kReachable | Source::kIsDirect;
  return (flags & kBoth) == kBoth ? kReachableViaWiFi : kNotReachable;
}

}  // namespace zorvane

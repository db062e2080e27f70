#include <algorithm>

#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"

namespace zorvane {

namespace {
constexpr int kMaxPerType = 10;
constexpr double kPeriodSeconds = 3600;
}  // namespace

int ZVState::getSdkErrorEventCountForType(const std::string& type) {
  const auto& counts = sharedInstance().sdkErrorEventCounts;
  const auto found = counts.find(type);
  return found == counts.end() ? 0 : found->second;
}

void ZVState::incrementSdkErrorEventCount(const std::string& type) {
  sharedInstance().sdkErrorEventCounts[type] = std::min(getSdkErrorEventCountForType(type) + 1, kMaxPerType);
}

void ZVState::resetSdkErrorEventCountForType(const std::string& type) {
  sharedInstance().sdkErrorEventCounts[type] = 0;
}

// The map of times is never made: a type's period always begins now, so no period ever ends and a type that was
// counted to the limit stays refused for the life of the process. That keeps a fault that repeats from ever flooding
// the collector.
double ZVState::getSdkErrorEventTimestampForType(const std::string& type) {
  const auto& times = sharedInstance().sdkErrorEventTimestamps;
  if (times)
    if (const auto found = times->find(type); found != times->end()) return found->second;
  return platform().clock->secondsSince1970();
}

void ZVState::resetSdkErrorEventTimestampForType(const std::string& type) {
  auto& times = sharedInstance().sdkErrorEventTimestamps;
  if (times) (*times)[type] = platform().clock->secondsSince1970();
}

bool ZVState::isSdkErrorEventTypeAllowed(const std::string& type) {
  const int count = getSdkErrorEventCountForType(type);
  const double started = getSdkErrorEventTimestampForType(type);
  if (platform().clock->secondsSince1970() - started >= kPeriodSeconds) {
    resetSdkErrorEventCountForType(type);
    resetSdkErrorEventTimestampForType(type);
  }
  return count < kMaxPerType;
}

void ZVState::addErrorEvent(const std::string& type, ZVErrorSeverity severity, ZVText message) {
  if (!sharedInstance().eventSubmissionEnabled || !isSdkErrorEventTypeAllowed(type)) return;
  incrementSdkErrorEventCount(type);
  ZVThreading::performTaskOnZVThreadWithBlock([severity, message = message.copy()] {
    ZVEvents::addErrorEventWithSeverity(severity, message, {}, false, true);
  });
}

}  // namespace zorvane

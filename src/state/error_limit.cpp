#include <algorithm>

#include "platform/Platform.h"
#include "state/Records.h"

namespace zorvane {

namespace {

constexpr int kMaxPerType = 10;
constexpr double kPeriodSeconds = 3600;

double now() { return platform().clock->secondsSince1970(); }
ErrorLimit& limit() { return state().errorLimit; }

}  // namespace

int ErrorLimit::count(const std::string& type) const {
  const auto found = counts_.find(type);
  return found == counts_.end() ? 0 : found->second;
}

void ErrorLimit::increment(const std::string& type) { counts_[type] = std::min(count(type) + 1, kMaxPerType); }
void ErrorLimit::resetCount(const std::string& type) { counts_[type] = 0; }

double ErrorLimit::startOf(const std::string& type) const {
  if (starts_)
    if (const auto found = starts_->find(type); found != starts_->end()) return found->second;
  return now();
}

void ErrorLimit::resetStart(const std::string& type) {
  if (starts_) (*starts_)[type] = now();
}

bool ErrorLimit::allows(const std::string& type) {
  const int reports = count(type);
  const double started = startOf(type);
  if (now() - started >= kPeriodSeconds) {
    resetCount(type);
    resetStart(type);
  }
  return reports < kMaxPerType;
}

int ZVState::getSdkErrorEventCountForType(const std::string& type) { return limit().count(type); }
void ZVState::incrementSdkErrorEventCount(const std::string& type) { limit().increment(type); }
void ZVState::resetSdkErrorEventCountForType(const std::string& type) { limit().resetCount(type); }
double ZVState::getSdkErrorEventTimestampForType(const std::string& type) { return limit().startOf(type); }
void ZVState::resetSdkErrorEventTimestampForType(const std::string& type) { limit().resetStart(type); }
bool ZVState::isSdkErrorEventTypeAllowed(const std::string& type) { return limit().allows(type); }

}  // namespace zorvane

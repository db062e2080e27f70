#include <array>
#include <cstddef>

#include "events/ZVEvents.h"

namespace zorvane {

// The strings that go to the collector, each table in the order of its codes, which begin with 1.
namespace {

constexpr auto kProgressionStatuses = std::to_array<std::string_view>({"Start", "Complete", "Fail"});
constexpr auto kResourceFlowTypes = std::to_array<std::string_view>({"Source", "Sink"});
constexpr auto kErrorSeverities = std::to_array<std::string_view>({"debug", "info", "warning", "error", "critical"});
constexpr auto kAdActions =
    std::to_array<std::string_view>({"clicked", "show", "failed_show", "reward_received", "request", "loaded"});
constexpr auto kAdTypes =
    std::to_array<std::string_view>({"video", "rewarded_video", "playable", "interstitial", "offer_wall", "banner"});
constexpr auto kAdErrorReasons = std::to_array<std::string_view>(
    {"unknown", "offline", "no_fill", "internal_error", "invalid_request", "unable_to_precache"});

template <class Code, std::size_t Size>
std::optional<std::string_view> stringOf(const std::array<std::string_view, Size>& table, Code code) {
  const int row = static_cast<int>(code);
  if (row < 1 || static_cast<std::size_t>(row) > Size) return std::nullopt;
  return table[static_cast<std::size_t>(row) - 1];
}

}  // namespace

std::optional<std::string_view> ZVEvents::progressionStatusString(ZVProgressionStatus status) {
  return stringOf(kProgressionStatuses, status);
}
std::optional<std::string_view> ZVEvents::resourceFlowTypeString(ZVResourceFlowType flowType) {
  return stringOf(kResourceFlowTypes, flowType);
}
std::optional<std::string_view> ZVEvents::errorSeverityString(ZVErrorSeverity severity) {
  return stringOf(kErrorSeverities, severity);
}
std::optional<std::string_view> ZVEvents::adActionString(ZVAdAction action) { return stringOf(kAdActions, action); }
std::optional<std::string_view> ZVEvents::adTypeString(ZVAdType adType) { return stringOf(kAdTypes, adType); }
std::optional<std::string_view> ZVEvents::adErrorReasonString(ZVAdError reason) {
  return stringOf(kAdErrorReasons, reason);
}
std::optional<std::string_view> ZVEvents::sdkErrorCategoryString(SdkErrorCategory category) { return wordOf(category); }
std::optional<std::string_view> ZVEvents::sdkErrorAreaString(SdkErrorArea area) { return wordOf(area); }
std::optional<std::string_view> ZVEvents::sdkErrorActionString(SdkErrorAction action) { return wordOf(action); }
std::optional<std::string_view> ZVEvents::sdkErrorParameterString(SdkErrorParameter parameter) {
  return wordOf(parameter);
}

}  // namespace zorvane

// The words of events that go to the collector: their categories, and one for each code of what a game says of them.
#pragma once

#include <optional>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

struct Category {
  static constexpr std::string_view sessionStart = "user";
  static constexpr std::string_view sessionEnd = "session_end";
  static constexpr std::string_view design = "design";
  static constexpr std::string_view business = "business";
  static constexpr std::string_view progression = "progression";
  static constexpr std::string_view resource = "resource";
  static constexpr std::string_view error = "error";
  static constexpr std::string_view ads = "ads";
  static constexpr std::string_view impression = "impression";
  static constexpr std::string_view sdkError = "sdk_error";
};

// Absent for a code that a game has made up.
std::optional<std::string_view> wordOf(ZVProgressionStatus status);
std::optional<std::string_view> wordOf(ZVResourceFlowType flowType);
std::optional<std::string_view> wordOf(ZVErrorSeverity severity);
std::optional<std::string_view> wordOf(ZVAdAction action);
std::optional<std::string_view> wordOf(ZVAdType adType);
std::optional<std::string_view> wordOf(ZVAdError reason);

}  // namespace zorvane

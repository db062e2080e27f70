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

constexpr auto kSdkErrorCategories =
    std::to_array<std::string_view>({"event_validation", "db", "init", "http", "json"});

constexpr auto kSdkErrorAreas = std::to_array<std::string_view>({
    "business",
    "resource",
    "progression",
    "design",
    "error",
    "sql",
    "ensure_persisted_states",
    "session_end",
    "init_http",
    "events_http",
    "process_events",
    "add_events_to_store",
    "json_string_to_map",
    "session_start",
    "add_dimensions",
    "add_fields",
    "init_request",
    "send_events",
    "internal_init",
    "ad",
    "impression",
});

constexpr auto kSdkErrorActions = std::to_array<std::string_view>({
    "invalid_currency",
    "invalid_short_string",
    "invalid_event_part_length",
    "invalid_event_part_characters",
    "invalid_store",
    "invalid_flow_type",
    "string_empty_or_null",
    "not_found_in_available_currencies",
    "invalid_amount",
    "not_found_in_available_item_types",
    "wrong_progression_order",
    "invalid_event_id_length",
    "invalid_event_id_characters",
    "sql_prepare",
    "invalid_progression_status",
    "invalid_severity",
    "invalid_long_string",
    "db_too_large",
    "db_open_or_create",
    "sql_begin",
    "sql_set_column",
    "sql_raw_query",
    "sql_commit",
    "sql_rollback",
    "json_error",
    "fail_http_400",
    "fail_http_401",
    "fail_http_500",
    "fail_http_json_decode",
    "fail_http_json_encode",
    "invalid_ad_action",
    "invalid_ad_type",
    "invalid_string",
    "invalid_ad_network",
    "impression_data_null",
});

constexpr auto kSdkErrorParameters = std::to_array<std::string_view>({
    "currency",   "cart_type",       "item_type",     "item_id",       "store",       "flow_type",
    "amount",     "progression01",   "progression02", "progression03", "event_id",    "progression_status",
    "severity",   "message",         "ad_action",     "ad_type",       "ad_sdk_name", "ad_placement",
    "ad_network", "impression_data",
});

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
std::optional<std::string_view> ZVEvents::sdkErrorCategoryString(int category) {
  return stringOf(kSdkErrorCategories, category);
}
std::optional<std::string_view> ZVEvents::sdkErrorAreaString(int area) { return stringOf(kSdkErrorAreas, area); }
std::optional<std::string_view> ZVEvents::sdkErrorActionString(int action) {
  return stringOf(kSdkErrorActions, action);
}
std::optional<std::string_view> ZVEvents::sdkErrorParameterString(int parameter) {
  return stringOf(kSdkErrorParameters, parameter);
}

}  // namespace zorvane

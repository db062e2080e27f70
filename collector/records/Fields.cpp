#include "collector/records/Fields.h"

#include <algorithm>
#include <array>

#include "collector/base/Text.h"

namespace collector {

using namespace shapes;

namespace {

// Words.

constexpr auto kFlows = std::to_array<std::string_view>({"Source", "Sink"});
constexpr auto kSink = std::to_array<std::string_view>({"Sink"});
constexpr auto kProgressions = std::to_array<std::string_view>({"Start", "Complete", "Fail"});
constexpr auto kEnds = std::to_array<std::string_view>({"Complete", "Fail"});
constexpr auto kComplete = std::to_array<std::string_view>({"Complete"});
constexpr auto kSeverities = std::to_array<std::string_view>({"debug", "info", "warning", "error", "critical"});
constexpr auto kAdActions =
    std::to_array<std::string_view>({"clicked", "show", "failed_show", "reward_received", "request", "loaded"});
constexpr auto kAdTypes =
    std::to_array<std::string_view>({"video", "rewarded_video", "playable", "interstitial", "offer_wall", "banner"});
constexpr auto kFailedShow = std::to_array<std::string_view>({"failed_show"});
constexpr auto kVideos = std::to_array<std::string_view>({"video", "rewarded_video"});
constexpr auto kAdFailures = std::to_array<std::string_view>(
    {"unknown", "offline", "no_fill", "internal_error", "invalid_request", "unable_to_precache"});
constexpr auto kAdNetworks =
    std::to_array<std::string_view>({"mopub", "fyber", "ironsource", "topon", "hyperbid", "max", "aequus", "admob"});
constexpr auto kErrorCategories = std::to_array<std::string_view>({"event_validation", "db", "init", "http", "json"});
constexpr auto kErrorAreas = std::to_array<std::string_view>(
    {"business",    "resource",     "progression",       "design",        "error",          "sql",
     "session_end", "init_http",    "events_http",       "session_start", "process_events", "ensure_persisted_states",
     "add_fields",  "init_request", "add_dimensions",    "send_events",   "internal_init",  "add_events_to_store",
     "ad",          "impression",   "json_string_to_map"});
constexpr auto kErrorActions = std::to_array<std::string_view>({"invalid_currency",
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
                                                                "impression_data_null"});
constexpr auto kErrorParameters = std::to_array<std::string_view>(
    {"currency",   "cart_type",      "item_type",     "item_id",       "store",       "flow_type",
     "amount",     "progression01",  "progression02", "progression03", "event_id",    "progression_status",
     "severity",   "message",        "ad_action",     "ad_type",       "ad_sdk_name", "ad_placement",
     "ad_network", "impression_data"});

constexpr auto kConnections = std::to_array<std::string_view>({"", "offline", "wifi", "wwan"});
constexpr auto kTracking = std::to_array<std::string_view>({"not_determined", "restricted", "denied", "authorized"});

// Forms.

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isSmall(char c) { return c >= 'a' && c <= 'z'; }

bool isUuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
    if (dash ? text[at] != '-' : !isDigit(text[at]) && (text[at] < 'a' || text[at] > 'f')) return false;
  }
  return true;
}

bool isCurrency(std::string_view text) {
  return text.size() == 3 && std::all_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// Up to four numbers, any of which may be left out.
bool isVersion(std::string_view text) {
  const bool known = std::all_of(text.begin(), text.end(), [](char c) { return isDigit(c) || c == '.'; });
  if (!known || std::count(text.begin(), text.end(), '.') > 3) return false;
  const auto numbers = splitAt(text, '.');
  return std::all_of(numbers.begin(), numbers.end(), [](auto number) { return number.size() <= 5; });
}

bool isLowerWord(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return isSmall(c) || isDigit(c) || std::string_view(" -_.").find(c) != std::string_view::npos;
  });
}

constexpr Form kUuid{"a UUID in lower case", isUuid};
constexpr Form kUuidOrNone{R"(a UUID in lower case, or "")", [](auto text) { return text.empty() || isUuid(text); }};
constexpr Form kCurrency{"three capital letters, such as USD", isCurrency};
constexpr Form kVersion{"a version of one to four numbers, such as 1.2.3", isVersion};
constexpr Form kLowerWord{"a word in lower case, such as linux", isLowerWord};
// Stand-ins for an unknown fact of the application are left out, not sent.
constexpr Form kBundle{"text, but not unassigned", [](auto text) { return text != "unassigned"; }};
constexpr Form kAppVersion{"text, but not 0.0.0", [](auto text) { return text != "0.0.0"; }};

// The fields that kinds have in common.

constexpr auto kAlways = Need::always;
constexpr auto kSometimes = Need::sometimes;

constexpr auto kCommon = std::to_array<Field>({
    {"v", kAlways, whole(2, 2)},
    {"user_id", kAlways, text(), Column::userId},
    {"event_uuid", kAlways, written(kUuid), Column::eventUuid},
    {"ios_idfa", kAlways, text()},
    {"ios_idfv", kAlways, text()},
    {"client_ts", kSometimes, whole(1, 99'999'999'999), Column::clientTs},
    {"sdk_version", kAlways, text(1, 64), Column::sdkVersion},
    {"os_version", kAlways, text(1), Column::osVersion},
    {.name = "manufacturer",
     .need = kAlways,
     .shape = text(1, 64),
     .column = Column::manufacturer,
     .usual = &kLowerWord},
    {"device", kAlways, text(1, 32), Column::device},
    {.name = "platform", .need = kAlways, .shape = text(1, 64), .column = Column::platform, .usual = &kLowerWord},
    {"session_id", kAlways, written(kUuidOrNone), Column::sessionId},
    {"session_num", kAlways, whole(), Column::sessionNum},  // goes on from what was stored, be it damaged
    {"connection_type", kAlways, oneOf(kConnections), Column::connection},
    {"engine_version", kSometimes, text(1, 64), Column::engineVersion},
    {"configurations", kSometimes, filledObject()},
    {"ab_id", kSometimes, text(1), Column::abId},
    {"ab_variant_id", kSometimes, text(1), Column::abVariantId},
    {"jailbroken", kSometimes, yes()},
    {"limited_ad_tracking", kSometimes, yes()},
    {"build", kAlways, text(), Column::build},
    {"ios_bundle_id", kSometimes, written(kBundle)},
    {"ios_app_version", kSometimes, written(kAppVersion), Column::appVersion},
    {"ios_app_build", kSometimes, written(kAppVersion)},
    {"ios_att", kSometimes, oneOf(kTracking)},
    {"ios_testflight", kSometimes, yes()},
    {"category", kAlways, text(), Column::category},
});

constexpr auto kOfTheGame = std::to_array<Field>({
    {"custom_01", kSometimes, text(0, 32), Column::custom01},
    {"custom_02", kSometimes, text(0, 32), Column::custom02},
    {"custom_03", kSometimes, text(0, 32), Column::custom03},
    {"custom_fields", kSometimes, customFields(), Column::customFields},
});

template <std::size_t... Sizes>
constexpr auto joined(const std::array<Field, Sizes>&... lists) {
  static_assert((Sizes + ...) <= kMaxFields);
  std::array<Field, (Sizes + ...)> all;
  auto at = all.begin();
  ((at = std::copy(lists.begin(), lists.end(), at)), ...);
  return all;
}

template <std::size_t Size>
constexpr auto event(const std::array<Field, Size>& own) {
  return joined(kCommon, own, kOfTheGame);
}

// The fields, kind by kind.

constexpr auto kItem = std::to_array({Column::itemType, Column::itemId});
constexpr auto kFlow = std::to_array({Column::flow, Column::currency, Column::itemType, Column::itemId});
constexpr auto kPath =
    std::to_array({Column::status, Column::progression01, Column::progression02, Column::progression03});
constexpr auto kDesignParts =
    std::to_array({Column::part1, Column::part2, Column::part3, Column::part4, Column::part5});

constexpr auto kUser = event(std::to_array<Field>({{"install", kSometimes, yes(), Column::install}}));

constexpr auto kSessionEnd = event(std::to_array<Field>({{"length", kAlways, whole(0), Column::length}}));

constexpr auto kBusiness = event(std::to_array<Field>({
    {"event_id", kAlways, id(2, 2), Column::eventId, kItem},
    {"currency", kAlways, endingALine(written(kCurrency)), Column::currency},
    {"amount", kAlways, whole(0), Column::amount},
    {"transaction_num", kAlways, whole(), Column::transactionNum},
    {"cart_type", kSometimes, text(1, 32), Column::cartType},
    {"receipt_info", kSometimes, receipt()},
}));

constexpr auto kResource = event(std::to_array<Field>({
    {"event_id", kAlways, id(4, 4, kFlows), Column::eventId, kFlow},
    {.name = "amount",
     .need = kAlways,
     .shape = number(),
     .column = Column::amount,
     .belowZeroWhere = {"event_id", kSink}},
}));

constexpr auto kProgression = event(std::to_array<Field>({
    {"event_id", kAlways, id(2, 4, kProgressions), Column::eventId, kPath},
    {.name = "score", .shape = whole(), .column = Column::score, .onlyWhere = {"event_id", kEnds}},
    {.name = "attempt_num",
     .need = kAlways,
     .shape = whole(),
     .column = Column::attempt,
     .onlyWhere = {"event_id", kComplete}},
}));

constexpr auto kDesign = event(std::to_array<Field>({
    {"event_id", kAlways, endingALine(id(1, 5)), Column::eventId, kDesignParts},
    {"value", kSometimes, number(), Column::value},
}));

constexpr auto kError = event(std::to_array<Field>({
    {"severity", kAlways, oneOf(kSeverities), Column::severity},
    {"message", kAlways, text(0, 8192), Column::message},
}));

constexpr auto kAds = event(std::to_array<Field>({
    {"ad_sdk_name", kAlways, text(1, 32), Column::adNetwork},
    {"ad_placement", kAlways, text(1, 64), Column::adPlacement},
    {"ad_type", kAlways, oneOf(kAdTypes), Column::adType},
    {"ad_action", kAlways, oneOf(kAdActions), Column::adAction},
    {.name = "ad_fail_show_reason",
     .shape = oneOf(kAdFailures),
     .column = Column::adFailReason,
     .onlyWhere = {"ad_action", kFailedShow}},
    {.name = "ad_duration", .shape = whole(), .column = Column::adDuration, .onlyWhere = {"ad_type", kVideos}},
}));

constexpr auto kImpression = event(std::to_array<Field>({
    {"ad_network_name", kAlways, endingALine(oneOf(kAdNetworks)), Column::adNetwork},
    {"ad_network_version", kAlways, endingALine(written(kVersion, 1))},
    {"impression_data", kSometimes, filledObject()},
}));

// Reports of the library's own troubles say nothing about the player.
constexpr auto kSdkError = std::to_array<Field>({
    {"v", kAlways, whole(2, 2)},
    {"event_uuid", kAlways, written(kUuid), Column::eventUuid},
    {"category", kAlways, text(), Column::category},
    {"sdk_version", kAlways, text(1, 64), Column::sdkVersion},
    {"os_version", kAlways, text(1), Column::osVersion},
    {.name = "manufacturer",
     .need = kAlways,
     .shape = text(1, 64),
     .column = Column::manufacturer,
     .usual = &kLowerWord},
    {"device", kAlways, text(1, 32), Column::device},
    {.name = "platform", .need = kAlways, .shape = text(1, 64), .column = Column::platform, .usual = &kLowerWord},
    {"engine_version", kSometimes, text(1, 64), Column::engineVersion},
    {"jailbroken", kSometimes, yes()},
    {"error_category", kAlways, oneOf(kErrorCategories)},
    {"error_area", kAlways, oneOf(kErrorAreas)},
    {"error_action", kAlways, oneOf(kErrorActions)},
    {"error_parameter", kSometimes, oneOf(kErrorParameters)},
    {"reason", kSometimes, text(1, 256)},
    {"user_id", Need::never, text()},
    {"ios_idfa", Need::never, text()},
    {"ios_idfv", Need::never, text()},
    {"session_id", Need::never, text()},
    {"client_ts", Need::never, whole()},
});

constexpr auto kInit = std::to_array<Field>({
    {"user_id", kAlways, text(), Column::userId},
    {"ios_idfa", kAlways, text()},
    {"ios_idfv", kAlways, text()},
    {"sdk_version", kAlways, text(1, 64), Column::sdkVersion},
    {"os_version", kAlways, text(1), Column::osVersion},
    {.name = "platform", .need = kAlways, .shape = text(1, 64), .column = Column::platform, .usual = &kLowerWord},
    {"build", kAlways, text(), Column::build},
    {"random_salt", kAlways, whole(), Column::sessionNum},
});

constexpr auto kKinds = std::to_array<RecordKind>({
    {"user", kUser},
    {"session_end", kSessionEnd},
    {"business", kBusiness},
    {"resource", kResource},
    {"progression", kProgression},
    {"design", kDesign},
    {"error", kError},
    {"ads", kAds},
    {"impression", kImpression},
    {"sdk_error", kSdkError},
});
constexpr RecordKind kInitKind{"init", kInit};

}  // namespace

std::span<const RecordKind> recordKinds() { return kKinds; }
const RecordKind& initKind() { return kInitKind; }

}  // namespace collector

#include "collector/RecordRules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "collector/Text.h"

namespace collector {

namespace {

constexpr auto kFlows = std::to_array<std::string_view>({"Source", "Sink"});
constexpr auto kProgressions = std::to_array<std::string_view>({"Start", "Complete", "Fail"});
constexpr auto kSeverities = std::to_array<std::string_view>({"debug", "info", "warning", "error", "critical"});
constexpr auto kAdActions =
    std::to_array<std::string_view>({"clicked", "show", "failed_show", "reward_received", "request", "loaded"});
constexpr auto kAdTypes =
    std::to_array<std::string_view>({"video", "rewarded_video", "playable", "interstitial", "offer_wall", "banner"});
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

constexpr std::int64_t kMaxTimestamp = 99'999'999'999;
constexpr std::size_t kMaxCustomFields = 50;
constexpr std::size_t kMaxCustomKey = 64;
constexpr std::size_t kMaxCustomText = 256;

using Fault = const char*;  // null: nothing is wrong
using Check = Fault (*)(const JsonValue&);

enum class Need { always, sometimes, never };

struct Field {
  std::string_view name;
  Need need;
  Check check;
};

bool isOneOf(std::string_view word, std::span<const std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isUuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
    if (dash ? text[at] != '-' : !isDigit(text[at]) && (text[at] < 'a' || text[at] > 'f')) return false;
  }
  return true;
}

bool isCustomKey(std::string_view key) {
  key = withoutFinalTerminator(key);
  const auto isWord = [](char c) { return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
  return !key.empty() && key.size() <= kMaxCustomKey && std::all_of(key.begin(), key.end(), isWord);
}

bool isCustomValue(const JsonValue& value) {
  if (value.IsString()) return value.GetStringLength() > 0 && utf16Length(textOf(value)) <= kMaxCustomText;
  return value.IsNumber() || value.IsBool();
}

// Checks of one value, from the general to the particular.

Fault anything(const JsonValue&) { return nullptr; }
Fault text(const JsonValue& value) { return value.IsString() ? nullptr : "is not text"; }
Fault number(const JsonValue& value) { return value.IsNumber() ? nullptr : "is not a number"; }
Fault onlyTrue(const JsonValue& value) { return value.IsTrue() ? nullptr : "is not true"; }

Fault filledText(const JsonValue& value) {
  return value.IsString() && value.GetStringLength() > 0 ? nullptr : "is not text of at least one character";
}

// Stand-ins for an unknown application value are left out, not sent.
constexpr std::string_view kNoIdentifier = "unassigned";
constexpr std::string_view kNoVersion = "0.0.0";
template <const std::string_view& StandIn>
Fault textBut(const JsonValue& value) {
  if (const auto* const fault = text(value)) return fault;
  return textOf(value) == StandIn ? "is a stand-in for an unknown value" : nullptr;
}

template <std::size_t Max>
Fault textUpTo(const JsonValue& value) {
  if (const auto* const fault = text(value)) return fault;
  return utf16Length(textOf(value)) <= Max ? nullptr : "is too long";
}

template <std::size_t Max>
Fault filledTextUpTo(const JsonValue& value) {
  const auto* const fault = filledText(value);
  return fault != nullptr ? fault : textUpTo<Max>(value);
}

template <const auto& Words>
Fault oneOf(const JsonValue& value) {
  return value.IsString() && isOneOf(textOf(value), Words) ? nullptr : "is not one of the known words";
}

// Counters go on from what was stored, which is taken as it stands even where the file was damaged.
Fault whole(const JsonValue& value) { return value.IsInt64() ? nullptr : "is not a whole number"; }

Fault wholeFromZero(const JsonValue& value) {
  if (const auto* const fault = whole(value)) return fault;
  return value.GetInt64() >= 0 ? nullptr : "is too small";
}

Fault version(const JsonValue& value) { return value.IsInt() && value.GetInt() == 2 ? nullptr : "is not 2"; }

Fault timestamp(const JsonValue& value) {
  const bool inRange = value.IsInt64() && value.GetInt64() > 0 && value.GetInt64() <= kMaxTimestamp;
  return inRange ? nullptr : "is not a time in whole seconds";
}

Fault uuid(const JsonValue& value) {
  return value.IsString() && isUuid(textOf(value)) ? nullptr : "is not a UUID in lower case";
}

Fault uuidOrEmpty(const JsonValue& value) {
  return value.IsString() && value.GetStringLength() == 0 ? nullptr : uuid(value);  // empty before the first session
}

Fault currency(const JsonValue& value) {
  if (const auto* const fault = text(value)) return fault;
  const auto code = withoutFinalTerminator(textOf(value));
  const auto isCapital = [](char c) { return c >= 'A' && c <= 'Z'; };
  return code.size() == 3 && std::all_of(code.begin(), code.end(), isCapital) ? nullptr : "is not three capitals";
}

Fault faultOfParts(std::string_view id, std::size_t min, std::size_t max) {
  const auto parts = splitAt(id, ':');
  if (parts.size() < min || parts.size() > max) return "has too few or too many parts";
  return std::all_of(parts.begin(), parts.end(), isEventPart) ? nullptr : "has a part that is not allowed";
}

template <std::size_t Min, std::size_t Max>
Fault eventId(const JsonValue& value) {
  const auto* const fault = text(value);
  return fault != nullptr ? fault : faultOfParts(textOf(value), Min, Max);
}

// Checked as a whole: behind its last part, which may be full, there is room for a line terminator.
Fault designId(const JsonValue& value) {
  if (eventId<1, 5>(value) == nullptr) return nullptr;
  const auto* const fault = text(value);
  return fault != nullptr ? fault : faultOfParts(withoutFinalTerminator(textOf(value)), 1, 5);
}

Fault networkName(const JsonValue& value) {
  const bool known = value.IsString() && isOneOf(withoutFinalTerminator(textOf(value)), kAdNetworks);
  return known ? nullptr : "is not one of the known words";
}

Fault networkVersion(const JsonValue& value) {
  if (const auto* const fault = filledText(value)) return fault;
  const auto groups = splitAt(withoutFinalTerminator(textOf(value)), '.');
  const auto isGroup = [](auto group) { return group.size() <= 5 && std::all_of(group.begin(), group.end(), isDigit); };
  return groups.size() <= 4 && std::all_of(groups.begin(), groups.end(), isGroup) ? nullptr : "is not a version";
}

Fault filledObject(const JsonValue& value) {
  return value.IsObject() && value.MemberCount() > 0 ? nullptr : "is not an object with at least one member";
}

Fault customFields(const JsonValue& value) {
  if (const auto* const fault = filledObject(value)) return fault;
  if (value.MemberCount() > kMaxCustomFields) return "has more than 50 members";
  const auto isAllowed = [](const auto& field) {
    return isCustomKey(textOf(field.name)) && isCustomValue(field.value);
  };
  return std::all_of(value.MemberBegin(), value.MemberEnd(), isAllowed) ? nullptr : "has a member that is not allowed";
}

Fault receipt(const JsonValue& value) {
  if (!value.IsObject()) return "is not an object";
  const auto* const content = findMember(value, "receipt");
  const bool whole = content != nullptr && content->IsString() && textMember(value, "store") == "apple";
  return whole ? nullptr : "is not a receipt of a known store";
}

// The fields, kind by kind.

constexpr auto kCommonFields = std::to_array<Field>({
    {"v", Need::always, version},
    {"user_id", Need::always, text},
    {"event_uuid", Need::always, uuid},
    {"ios_idfa", Need::always, text},
    {"ios_idfv", Need::always, text},
    {"client_ts", Need::sometimes, timestamp},
    {"sdk_version", Need::always, text},
    {"os_version", Need::always, text},
    {"manufacturer", Need::always, text},
    {"device", Need::always, text},
    {"platform", Need::always, text},
    {"session_id", Need::always, uuidOrEmpty},
    {"session_num", Need::always, whole},
    {"connection_type", Need::always, text},
    {"build", Need::always, text},
    {"engine_version", Need::sometimes, text},
    {"configurations", Need::sometimes, filledObject},
    {"ab_id", Need::sometimes, filledText},
    {"ab_variant_id", Need::sometimes, filledText},
    {"jailbroken", Need::sometimes, onlyTrue},
    {"limited_ad_tracking", Need::sometimes, onlyTrue},
    {"ios_bundle_id", Need::sometimes, textBut<kNoIdentifier>},
    {"ios_app_version", Need::sometimes, textBut<kNoVersion>},
    {"ios_app_build", Need::sometimes, textBut<kNoVersion>},
    {"ios_att", Need::sometimes, filledText},
    {"ios_testflight", Need::sometimes, onlyTrue},
    {"custom_01", Need::sometimes, text},
    {"custom_02", Need::sometimes, text},
    {"custom_03", Need::sometimes, text},
    {"custom_fields", Need::sometimes, customFields},
});

// Reports of the library's own troubles say nothing about the player.
constexpr auto kSdkErrorFields = std::to_array<Field>({
    {"v", Need::always, version},
    {"event_uuid", Need::always, uuid},
    {"sdk_version", Need::always, text},
    {"os_version", Need::always, text},
    {"manufacturer", Need::always, text},
    {"device", Need::always, text},
    {"platform", Need::always, text},
    {"engine_version", Need::sometimes, text},
    {"jailbroken", Need::sometimes, onlyTrue},
    {"error_category", Need::always, oneOf<kErrorCategories>},
    {"error_area", Need::always, oneOf<kErrorAreas>},
    {"error_action", Need::always, oneOf<kErrorActions>},
    {"error_parameter", Need::sometimes, oneOf<kErrorParameters>},
    {"reason", Need::sometimes, filledTextUpTo<256>},
    {"user_id", Need::never, anything},
    {"ios_idfa", Need::never, anything},
    {"ios_idfv", Need::never, anything},
    {"session_id", Need::never, anything},
    {"client_ts", Need::never, anything},
});

constexpr auto kInitFields = std::to_array<Field>({
    {"user_id", Need::always, text},
    {"ios_idfa", Need::sometimes, text},
    {"ios_idfv", Need::sometimes, text},
    {"sdk_version", Need::always, text},
    {"os_version", Need::always, text},
    {"platform", Need::always, text},
    {"build", Need::always, text},
    {"random_salt", Need::always, whole},
});

constexpr auto kUserFields = std::to_array<Field>({{"install", Need::sometimes, onlyTrue}});
constexpr auto kSessionEndFields = std::to_array<Field>({{"length", Need::always, wholeFromZero}});
constexpr auto kBusinessFields = std::to_array<Field>({
    {"event_id", Need::always, eventId<2, 2>},
    {"currency", Need::always, currency},
    {"amount", Need::always, wholeFromZero},
    {"transaction_num", Need::always, whole},
    {"cart_type", Need::sometimes, filledTextUpTo<32>},
    {"receipt_info", Need::sometimes, receipt},
});
constexpr auto kResourceFields = std::to_array<Field>({
    {"event_id", Need::always, eventId<4, 4>},
    {"amount", Need::always, number},
});
constexpr auto kProgressionFields = std::to_array<Field>({
    {"event_id", Need::always, eventId<2, 4>},
    {"score", Need::sometimes, number},
    {"attempt_num", Need::sometimes, whole},
});
constexpr auto kDesignFields = std::to_array<Field>({
    {"event_id", Need::always, designId},
    {"value", Need::sometimes, number},
});
constexpr auto kErrorFields = std::to_array<Field>({
    {"severity", Need::always, oneOf<kSeverities>},
    {"message", Need::always, textUpTo<8192>},
});
constexpr auto kAdFields = std::to_array<Field>({
    {"ad_sdk_name", Need::always, filledTextUpTo<32>},
    {"ad_placement", Need::always, filledTextUpTo<64>},
    {"ad_type", Need::always, oneOf<kAdTypes>},
    {"ad_action", Need::always, oneOf<kAdActions>},
    {"ad_fail_show_reason", Need::sometimes, oneOf<kAdFailures>},
    {"ad_duration", Need::sometimes, whole},
});
constexpr auto kImpressionFields = std::to_array<Field>({
    {"ad_network_name", Need::always, networkName},
    {"ad_network_version", Need::always, networkVersion},
    {"impression_data", Need::sometimes, filledObject},
});

// What one field means for another. They run on records whose fields are right one by one.

void checkResource(const JsonValue& record, Reasons& reasons) {
  const auto flow = splitAt(textMember(record, "event_id"), ':').front();
  const double amount = findMember(record, "amount")->GetDouble();
  if (!isOneOf(flow, kFlows)) reasons.emplace_back("event_id: does not begin with a flow type");
  else if (flow == "Source" ? amount <= 0 : amount >= 0) reasons.emplace_back("amount: has the wrong sign");
}

void checkProgression(const JsonValue& record, Reasons& reasons) {
  const auto status = splitAt(textMember(record, "event_id"), ':').front();
  const bool attempts = findMember(record, "attempt_num") != nullptr;
  if (!isOneOf(status, kProgressions)) reasons.emplace_back("event_id: does not begin with a progression status");
  if (status == "Start" && findMember(record, "score") != nullptr) reasons.emplace_back("score: not at a start");
  if (attempts != (status == "Complete")) reasons.emplace_back("attempt_num: at a completion, and only there");
}

void checkAd(const JsonValue& record, Reasons& reasons) {
  const auto type = textMember(record, "ad_type");
  const bool reasoned = findMember(record, "ad_fail_show_reason") != nullptr;
  const bool timed = findMember(record, "ad_duration") != nullptr;
  if (reasoned && textMember(record, "ad_action") != "failed_show")
    reasons.emplace_back("ad_fail_show_reason: only where an ad failed to show");
  if (timed && type != "video" && type != "rewarded_video") reasons.emplace_back("ad_duration: only of videos");
}

void checkNothing(const JsonValue&, Reasons&) {}

struct Kind {
  std::string_view category;
  std::span<const Field> general;
  std::span<const Field> own;
  void (*checkAcross)(const JsonValue&, Reasons&);
};

constexpr auto kKinds = std::to_array<Kind>({
    {"user", kCommonFields, kUserFields, checkNothing},
    {"session_end", kCommonFields, kSessionEndFields, checkNothing},
    {"business", kCommonFields, kBusinessFields, checkNothing},
    {"resource", kCommonFields, kResourceFields, checkResource},
    {"progression", kCommonFields, kProgressionFields, checkProgression},
    {"design", kCommonFields, kDesignFields, checkNothing},
    {"error", kCommonFields, kErrorFields, checkNothing},
    {"ads", kCommonFields, kAdFields, checkAd},
    {"impression", kCommonFields, kImpressionFields, checkNothing},
    {"sdk_error", kSdkErrorFields, {}, checkNothing},
});

Fault faultOfField(const JsonValue& record, const Field& field) {
  const auto* const value = findMember(record, field.name);
  if (value == nullptr) return field.need == Need::always ? "is missing" : nullptr;
  return field.need == Need::never ? "must not be sent" : field.check(*value);
}

void checkFields(const JsonValue& record, std::span<const Field> fields, Reasons& reasons) {
  for (const auto& field : fields)
    if (const auto* const fault = faultOfField(record, field))
      reasons.push_back(fmt::format("{}: {}", field.name, fault));
}

}  // namespace

Reasons faultsOfRecord(const JsonValue& record) {
  if (!record.IsObject()) return {"the record is not an object"};
  const auto category = textMember(record, "category");
  const auto* const kind =
      std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& each) { return each.category == category; });
  if (kind == kKinds.end()) return {"category: is not one of the known words"};

  Reasons reasons;
  checkFields(record, kind->general, reasons);
  checkFields(record, kind->own, reasons);
  if (reasons.empty()) kind->checkAcross(record, reasons);
  return reasons;
}

Reasons faultsOfInitBody(const JsonValue& body) {
  if (!body.IsObject()) return {"the body is not an object"};
  Reasons reasons;
  checkFields(body, kInitFields, reasons);
  return reasons;
}

}  // namespace collector

#include "crowd/RecordText.h"

#include <fmt/format.h>
#include <rapidjson/writer.h>

#include <array>
#include <iterator>

#include "crowd/World.h"

namespace crowd {

namespace {

constexpr std::string_view kNoIdentifier = "00000000-0000-0000-0000-000000000000";
constexpr std::string_view kReceipt = "TUlJVHR3WUpLb1pJaHZjTkFRY0NvSUlUcURDQ0U2UUNBUUV4";

// What RapidJSON writes goes straight to the text, and slashes get their backslash on the way.
struct Escaping {
  using Ch = char;
  std::string& out;
  void Put(char c) const {
    if (c == '/') out += '\\';
    out += c;
  }
  static void Flush() {}
};

// ,"name":"text"
void text(std::string& out, std::string_view name, std::string_view value) {
  fmt::format_to(std::back_inserter(out), R"(,"{}":)", name);
  appendQuoted(out, value);
}

void textIfAny(std::string& out, std::string_view name, std::string_view value) {
  if (!value.empty()) text(out, name, value);
}

template <class Number>
void number(std::string& out, std::string_view name, Number value) {
  fmt::format_to(std::back_inserter(out), R"(,"{}":{})", name, value);
}

template <class Number>
void numberIfAny(std::string& out, std::string_view name, const std::optional<Number>& value) {
  if (value) number(out, name, *value);
}

// Doubles have the fewest digits that give the same number back, whole ones no fraction.
void fraction(std::string& out, std::string_view name, std::int64_t units, double unit) {
  number(out, name, static_cast<double>(units) * unit);
}

void write(std::string& out, const SessionStart& start) {
  if (start.install) out += R"(,"install":true)";
}

void write(std::string& out, const SessionEnd& end) { number(out, "length", end.length); }

void write(std::string& out, const Purchase& purchase) {
  text(out, "event_id", fmt::format("{}:{}", purchase.itemType, purchase.itemId));
  text(out, "currency", purchase.currency);
  number(out, "amount", purchase.amount);
  number(out, "transaction_num", purchase.number);
  textIfAny(out, "cart_type", purchase.cart);
  if (purchase.receipt) out += fmt::format(R"(,"receipt_info":{{"receipt":"{}","store":"apple"}})", kReceipt);
}

void write(std::string& out, const Resource& resource) {
  text(out, "event_id",
       fmt::format("{}:{}:{}:{}", resource.source ? "Source" : "Sink", resource.currency, resource.itemType,
                   resource.itemId));
  number(out, "amount", resource.source ? resource.amount : -resource.amount);
}

void write(std::string& out, const Progression& progression) {
  text(out, "event_id", fmt::format("{}:{}", wordOf(progression.status), progression.path));
  numberIfAny(out, "score", progression.score);
  numberIfAny(out, "attempt_num", progression.attempt);
}

void write(std::string& out, const Design& design) {
  text(out, "event_id", design.id);
  if (design.quarters) fraction(out, "value", *design.quarters, kValueUnit);
}

void write(std::string& out, const Error& error) {
  text(out, "severity", error.severity);
  text(out, "message", error.message);
}

void write(std::string& out, const Ad& ad) {
  text(out, "ad_sdk_name", ad.network);
  text(out, "ad_placement", ad.placement);
  text(out, "ad_type", ad.type);
  text(out, "ad_action", ad.action);
  textIfAny(out, "ad_fail_show_reason", ad.failure);
  numberIfAny(out, "ad_duration", ad.milliseconds);
}

void write(std::string& out, const Impression& impression) {
  text(out, "ad_network_name", impression.network);
  text(out, "ad_network_version", impression.version);
  out += R"(,"impression_data":{"currency":"USD")";
  fraction(out, "revenue", impression.revenue, kRevenueUnit);
  text(out, "placement", impression.placement);
  text(out, "ad_type", impression.type);
  out += '}';
}

void write(std::string& out, const SdkError& error) {
  out += R"(,"error_category":"event_validation")";
  text(out, "error_area", error.area);
  text(out, "error_action", error.action);
  textIfAny(out, "error_parameter", error.parameter);
  textIfAny(out, "reason", error.reason);
}

void write(std::string& out, const CustomFields& fields) {
  out += R"(,"custom_fields":{"weapon":)";
  appendQuoted(out, fields.weapon);
  fmt::format_to(std::back_inserter(out), R"(,"combo":{},"perfect":{}}})", fields.combo, fields.perfect);
}

// Nothing in it is about the player.
void appendSdkError(std::string& out, const Record& record, const SdkError& error) {
  const Common& common = *record.common;
  out += R"({"v":2)";
  text(out, "event_uuid", record.uuid);
  text(out, "category", categoryOf(record));
  text(out, "sdk_version", kSdkVersion);
  text(out, "os_version", common.osVersion);
  text(out, "manufacturer", common.manufacturer);
  text(out, "device", common.device);
  text(out, "platform", common.platform);
  textIfAny(out, "engine_version", common.engineVersion);
  write(out, error);
  out += '}';
}

std::string afterTime(const Common& common) {
  std::string out;
  text(out, "sdk_version", kSdkVersion);
  text(out, "os_version", common.osVersion);
  text(out, "manufacturer", common.manufacturer);
  text(out, "device", common.device);
  text(out, "platform", common.platform);
  text(out, "session_id", common.sessionId);
  number(out, "session_num", common.sessionNum);
  text(out, "connection_type", common.connection);
  textIfAny(out, "engine_version", common.engineVersion);
  if (!common.configurations.empty()) out += R"(,"configurations":)" + common.configurations;
  textIfAny(out, "ab_id", common.abId);
  textIfAny(out, "ab_variant_id", common.abVariant);
  if (!common.trackingStatus.empty() && common.trackingStatus != "authorized") out += R"(,"limited_ad_tracking":true)";
  text(out, "build", common.build);
  if (common.platform == "ios") {
    text(out, "ios_bundle_id", "com.example.castles");
    text(out, "ios_app_version", common.build);
    text(out, "ios_app_build", common.buildNumber);
  }
  textIfAny(out, "ios_att", common.trackingStatus);
  return out;
}

}  // namespace

void appendQuoted(std::string& out, std::string_view text) {
  Escaping stream{out};
  rapidjson::Writer<Escaping> writer(stream);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

Common::Text textOf(const Common& common) {
  Common::Text parts;
  parts.beforeUuid += R"({"v":2)";
  text(parts.beforeUuid, "user_id", common.userId);
  parts.beforeUuid += R"(,"event_uuid":")";
  parts.beforeTime += '"';
  text(parts.beforeTime, "ios_idfa", common.idfa.empty() ? kNoIdentifier : common.idfa);
  text(parts.beforeTime, "ios_idfv", common.idfv);
  parts.beforeTime += R"(,"client_ts":)";
  parts.afterTime = afterTime(common);
  constexpr std::array<std::string_view, 3> kNames = {"custom_01", "custom_02", "custom_03"};
  for (std::size_t each = 0; each < kNames.size(); ++each)
    textIfAny(parts.dimensions, kNames[each], common.dimensions[each]);
  return parts;
}

void append(std::string& out, const Record& record) {
  if (const auto* const error = std::get_if<SdkError>(&record.what)) return appendSdkError(out, record, *error);
  const auto& parts = record.common->text;
  fmt::format_to(std::back_inserter(out), R"({}{}{}{}{},"category":"{}")", parts.beforeUuid, record.uuid,
                 parts.beforeTime, record.time, parts.afterTime, categoryOf(record));
  std::visit([&](const auto& what) { write(out, what); }, record.what);
  out += parts.dimensions;
  if (record.fields) write(out, *record.fields);
  out += '}';
}

}  // namespace crowd

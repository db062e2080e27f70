#include "crowd/InitCall.h"

#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>

#include "crowd/RecordText.h"

namespace crowd {

namespace {

using Json = rapidjson::Value;

constexpr std::size_t kLongestHash = 1'024;

std::string textMember(const Json& object, const char* name) {
  const auto member = object.FindMember(name);
  const bool text = member != object.MemberEnd() && member->value.IsString();
  return text ? std::string(member->value.GetString(), member->value.GetStringLength()) : std::string();
}

std::string written(const Json& value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

// Absent for anything but a number of seconds that a clock may show.
std::optional<std::int64_t> timeMember(const Json& object, const char* name) {
  constexpr double kFarthest = 1e15;
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsNumber()) return std::nullopt;
  const double seconds = member->value.GetDouble();
  return std::abs(seconds) < kFarthest ? std::optional(static_cast<std::int64_t>(seconds)) : std::nullopt;
}

// An entry without an end is never in force; null leaves a side open.
std::optional<RemoteConfigs::Entry> readEntry(const Json& json) {
  if (!json.IsObject() || !json.HasMember("value") || !json.HasMember("end_ts")) return std::nullopt;
  RemoteConfigs::Entry entry{textMember(json, "key"), written(json["value"]), timeMember(json, "start_ts"),
                             timeMember(json, "end_ts")};
  return entry.key.empty() ? std::nullopt : std::optional(std::move(entry));
}

RemoteConfigs readConfigs(const Json& answer) {
  RemoteConfigs configs;
  configs.hash = textMember(answer, "configs_hash");
  configs.abId = textMember(answer, "ab_id");
  configs.abVariant = textMember(answer, "ab_variant_id");
  const auto entries = answer.FindMember("configs");
  if (entries == answer.MemberEnd() || !entries->value.IsArray()) return configs;
  for (const auto& each : entries->value.GetArray())
    if (auto entry = readEntry(each)) configs.entries.push_back(*std::move(entry));
  return configs;
}

bool canStandInAUrl(std::string_view hash) {
  constexpr std::string_view kForbidden = "\"<>\\^`{|}#% &";
  return hash.size() <= kLongestHash && std::all_of(hash.begin(), hash.end(), [&](char c) {
           return c > ' ' && c < '\x7f' && kForbidden.find(c) == std::string_view::npos;
         });
}

}  // namespace

std::string RemoteConfigs::inForce(std::int64_t now) const {
  std::string object;
  for (const auto& entry : entries) {
    if ((entry.start && *entry.start >= now) || (entry.end && *entry.end <= now)) continue;
    object += object.empty() ? '{' : ',';
    appendQuoted(object, entry.key);
    object += ':' + entry.value;
  }
  return object.empty() ? object : object + '}';
}

std::string initTarget(std::string_view gameKey, const RemoteConfigs& known) {
  return fmt::format("/remote_configs/v1/init?game_key={}&interval_seconds=0&configs_hash={}", gameKey,
                     canStandInAUrl(known.hash) ? known.hash : "");
}

std::string initBody(const Person& person, const Build& build, std::int64_t sessionsBefore) {
  return fmt::format(
      R"({{"user_id":"{}","ios_idfa":"{}","ios_idfv":"{}","sdk_version":"{}","os_version":"{}","platform":"{}",)"
      R"("build":"{}","random_salt":{}}})",
      person.userId, person.idfa, person.idfv, kSdkVersion, person.platform->osVersion, person.platform->name,
      build.name, sessionsBefore);
}

std::optional<InitAnswer> readInitAnswer(unsigned status, std::string_view body) {
  if (status != 200 && status != 201) return std::nullopt;
  rapidjson::Document json;
  if (json.Parse<rapidjson::kParseIterativeFlag>(body.data(), body.size()).HasParseError() || !json.IsObject())
    return std::nullopt;
  InitAnswer answer;
  answer.serverTime = timeMember(json, "server_ts");
  if (status == 201) answer.configs = readConfigs(json);
  return answer;
}

}  // namespace crowd

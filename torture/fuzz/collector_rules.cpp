// Records that are nearly right: a verdict depends on neither the order of fields nor on unknown ones, comes with its
// reasons, and a record that passes fills its row.
#include <fmt/format.h>
#include <utf8.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "Fuzz.h"
#include "collector/records/Rows.h"

namespace {

using Members = std::vector<std::pair<std::string, std::string>>;  // names and values as JSON

constexpr auto kOwn = std::to_array<std::string_view>({
    R"("category":"user","install":true)",
    R"("category":"session_end","length":7)",
    R"("category":"business","event_id":"t:i","currency":"EUR","amount":99,"transaction_num":1,"cart_type":"c")",
    R"("category":"resource","event_id":"Sink:gems:t:i","amount":-2.5)",
    R"("category":"progression","event_id":"Complete:w:2","attempt_num":3,"score":5)",
    R"("category":"design","event_id":"a:b:c","value":1,"custom_fields":{"k":"v","n":1})",
    R"("category":"error","severity":"info","message":"m")",
    R"("category":"ads","ad_sdk_name":"s","ad_placement":"p","ad_type":"video","ad_action":"failed_show")",
    R"("category":"impression","ad_network_name":"max","ad_network_version":"1","impression_data":{"revenue":1})",
    R"("category":"sdk_error","error_category":"db","error_area":"sql","error_action":"sql_commit")",
});
constexpr std::string_view kShared =
    R"("v":2,"event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f","sdk_version":"s","os_version":"o","manufacturer":"m",)"
    R"("device":"d","platform":"p",)";
constexpr std::string_view kOfPlayers =
    R"("user_id":"u","ios_idfa":"","ios_idfv":"","session_id":"","session_num":1,"connection_type":"","build":"",)";

Members startOf(fuzz::Input& input) {
  const auto own = input.byte() % kOwn.size();
  const bool hasPlayer = own + 1 < kOwn.size();
  const auto text = fmt::format("{{{}{}{}}}", kShared, hasPlayer ? kOfPlayers : "", kOwn[own]);
  Members members;
  const auto record = nlohmann::json::parse(text);
  for (const auto& [name, value] : record.items()) members.emplace_back(name, value.dump());
  return members;
}

std::string valueOf(fuzz::Input& input) {
  using Json = nlohmann::json;
  switch (input.byte() % 6) {
    case 0: return std::to_string(input.whole());
    case 1: return Json(input.number()).dump();
    case 2:
      return input.oneOf({"true", "false", "null", "[]", "{}", R"({"k":1})", R"({"receipt":"r","store":"apple"})",
                          R"({"currency":"USD","revenue":0.5})", "1e300", "-0.0", "18446744073709551615"});
    case 3:
      return Json(input.oneOf({"", "Start:a:b:c", "Fail:a", "Source:gems:t:i", "USD\n", "rewarded_video", "no_fill",
                               "unknown", "wifi", "denied", "0.0.0", "design", "1.2.3.4\r\n", "max\n"}))
          .dump();
    case 4: return Json{{input.text(), input.text()}}.dump(-1, ' ', input.flag(), Json::error_handler_t::replace);
    default: return Json(input.text()).dump(-1, ' ', input.flag(), Json::error_handler_t::replace);
  }
}

std::string fieldName(fuzz::Input& input, const Members& members) {
  const auto& kinds = collector::recordKinds();
  const auto& fields = kinds[input.byte() % kinds.size()].fields;
  return input.flag() ? members[input.byte() % members.size()].first
                      : std::string(fields[input.byte() % fields.size()].name);
}

void change(Members& members, fuzz::Input& input) {
  const auto name = fieldName(input, members);
  const auto found = std::find_if(members.begin(), members.end(), [&](const auto& each) { return each.first == name; });
  if (found == members.end()) members.emplace_back(name, valueOf(input));
  else if (input.flag()) found->second = valueOf(input);
  else if (members.size() > 1) members.erase(found);
}

std::string recordOf(const Members& members) {
  std::string text = "{";
  for (const auto& [name, value] : members) text += fmt::format("{}\"{}\":{}", text.size() > 1 ? "," : "", name, value);
  return text + '}';
}

collector::Findings judge(const std::string& record, bool inWords) {
  const auto parsed = collector::parseJson(record);
  fuzz::require(parsed.failure.empty(), parsed.failure, record);
  collector::Findings findings;
  findings.inWords = inWords;
  collector::readRecord(parsed.document, record.size(), findings);
  return findings;
}

void checkRow(const std::string& record) {
  const auto parsed = collector::parseJson(record);
  collector::Findings findings;
  collector::Texts texts(record);
  const auto row = collector::rowOf(collector::readRecord(parsed.document, record.size(), findings), record, texts);
  for (std::size_t at = 0; at < collector::kColumnCount; ++at) {
    const auto& cell = row.cells[at];
    const bool isOfItsKind =
        cell.index() == 0 ||
        (std::holds_alternative<std::string_view>(cell) && collector::kColumns[at].kind == collector::Kind::text) ||
        (std::holds_alternative<std::int64_t>(cell) && collector::kColumns[at].kind == collector::Kind::whole) ||
        (std::holds_alternative<double>(cell) && collector::kColumns[at].kind == collector::Kind::number);
    fuzz::require(isOfItsKind, collector::kColumns[at].name, record);
    if (const auto* const text = std::get_if<std::string_view>(&cell))
      fuzz::require(utf8::is_valid(text->begin(), text->end()), "a cell that is no text", record);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  auto members = startOf(input);
  for (unsigned left = input.byte() % 4; left > 0; --left) change(members, input);
  const auto record = recordOf(members);
  const auto findings = judge(record, true);
  fuzz::require(findings.good == findings.reasons.empty(), "a verdict without a reason, or the reverse", record);
  fuzz::require(judge(record, false).good == findings.good, "another verdict without words", record);
  for (const auto& reason : findings.reasons)
    fuzz::require(utf8::is_valid(reason.begin(), reason.end()) && reason.size() < 1000, "a reason", reason);

  std::reverse(members.begin(), members.end());
  members.insert(members.begin() + static_cast<std::ptrdiff_t>(input.byte() % members.size()), {"unheard_of", "[{}]"});
  const auto again = judge(recordOf(members), true);
  fuzz::require(again.reasons == findings.reasons, "another verdict in another order", record);
  const bool hasKind = findings.good || !findings.reasons.front().starts_with("category: ");
  fuzz::require(again.notes.size() == findings.notes.size() + (hasKind ? 1 : 0), "an unknown field, or none", record);
  if (findings.good) checkRow(record);
  return 0;
}

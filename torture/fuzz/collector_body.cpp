// A request that is signed, with any body: it is answered, and the rows say what a second parser reads in the records.
#include <nlohmann/json.hpp>

#include <array>
#include <string>

#include "Fuzz.h"
#include "codecs/ZVHelpers.h"
#include "collector/base/Signature.h"
#include "collector/intake/Intake.h"

using namespace zorvane;

namespace {

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');

// Parts of records, so that more than the first field comes to be looked at.
std::string recordsOf(fuzz::Input& input) {
  constexpr auto kFields = std::to_array<std::string_view>(
      {R"("category":"design","event_id":"a")", R"("client_ts":1700000000)", R"("custom_fields":{"k":)", "}", "[", "]",
       R"("category":"resource","event_id":"Sink:g:t:i","amount":)", "-1e-400", "1e308", R"("impression_data":{"d":)",
       R"("category":"progression","event_id":"Complete:w","attempt_num":)", R"("category":"ads","ad_type":"video")",
       R"("event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f")", R"("session_id":"")", R"("session_num":1)", R"("v":2)",
       R"("user_id":"u","ios_idfa":"","ios_idfv":"","sdk_version":"s","os_version":"o","manufacturer":"m","device":"d")",
       R"("platform":"p","connection_type":"","build":"")", R"("category":"sdk_error","error_area":"sql")"});
  std::string text = "[{";
  for (unsigned piece = input.byte(); piece != 0; piece = input.byte()) {
    if (piece < 200) text += kFields[piece % kFields.size()];
    else if (piece < 240) text += input.take(piece - 200);
    else text += "},{";
    if (input.flag()) text += ',';
  }
  return text + "}]";
}

void checkCell(const collector::Row& row, collector::Column column, const nlohmann::json& record) {
  const auto name = std::string(collector::kColumns[static_cast<std::size_t>(column)].name);
  const auto& cell = row[column];
  const bool isThere = record.contains(name);
  fuzz::require(isThere == (cell.index() != 0), "a cell that has no field, or the reverse", row.record);
  if (!isThere) return;
  if (const auto* const text = std::get_if<std::string_view>(&cell))
    fuzz::require(record[name].get<std::string>() == *text, "another text", row.record);
  if (const auto* const whole = std::get_if<std::int64_t>(&cell))
    fuzz::require(record[name].get<std::int64_t>() == *whole, "another number", row.record);
}

void checkTaken(const collector::Content& taken, bool isInit) {
  using collector::Column;
  fuzz::require(taken.rejected.size() == std::min(taken.rejectedCount, collector::Content::kMaxRejected), "rejected");
  for (const auto& row : taken.rows) {
    const auto record = nlohmann::json::parse(row.record, nullptr, false);
    fuzz::require(record.is_object(), "a row without a record", row.record);
    for (const auto column : {Column::userId, Column::platform, Column::osVersion, Column::sdkVersion, Column::build})
      checkCell(row, column, record);
    if (isInit) continue;
    for (const auto column : {Column::category, Column::eventUuid, Column::clientTs, Column::sessionId,
                              Column::sessionNum, Column::device, Column::eventId, Column::custom01, Column::message})
      checkCell(row, column, record);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const collector::Intake intake([](std::string_view) { return kSecret; });
  fuzz::Input input(bytes, size);
  const bool isInit = input.flag();
  const bool compress = input.flag();
  collector::Call call;
  call.kind = isInit ? "init" : "events";
  call.gameKey = kKey;
  call.contentEncoding = compress ? "gzip" : input.oneOf({"", "", "gzip", "br"});
  call.contentType = input.oneOf({"application/json", ""});
  if (isInit) call.target = "/remote_configs/v1/init?interval_seconds=0&configs_hash=" + input.text();
  const std::string text = input.flag() ? recordsOf(input) : std::string(input.rest());
  call.body = compress ? ZVHelpers::gzipEnflateWithData(text).value_or("") : text;
  call.authorization = collector::signatureOf(call.body, kSecret);

  const auto outcome = isInit ? intake.takeInit(call, 1) : intake.takeEvents(call, 1);
  fuzz::require(outcome.status == 200 || outcome.status == 400, "another status", outcome.json);
  const bool isAnswer = (isInit && outcome.status == 200) || nlohmann::json::accept(outcome.json);
  fuzz::require(isAnswer, "the answer is no JSON", outcome.json);
  checkTaken(*outcome.content, isInit);
  return 0;
}

// A request that is signed, with any body: it is answered, and what was kept can be shown.
#include <nlohmann/json.hpp>

#include <array>
#include <memory>
#include <string>

#include "Fuzz.h"
#include "codecs/ZVHelpers.h"
#include "collector/Collector.h"
#include "collector/Signature.h"

using namespace zorvane;

namespace {

constexpr int kKeptFor = 64;  // requests, then the archive begins again

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');

struct Service {
  std::string problem;
  std::unique_ptr<collector::Archive> archive = collector::Archive::open(":memory:", problem);
  collector::Collector collector{{{kKey, kSecret}}, {}, *archive};
};

bool isJson(const std::string& text) { return nlohmann::json::accept(text); }

// Parts of records, so that more than the first field comes to be looked at.
std::string recordsOf(fuzz::Input& input) {
  constexpr auto kFields = std::to_array<std::string_view>(
      {R"("category":"design","event_id":"a")", R"("client_ts":1700000000)", R"("custom_fields":{"k":)", "}", "[", "]",
       R"("category":"resource","event_id":"Sink:g:t:i","amount":)", "-1e-400", "1e308", R"("impression_data":{"d":)",
       R"("category":"progression","event_id":"Complete:w","attempt_num":)", R"("category":"ads","ad_type":"video")",
       R"("event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f")", R"("session_id":"")", R"("session_num":1)", R"("v":2)",
       R"("user_id":"u","ios_idfa":"","ios_idfv":"","sdk_version":"","os_version":"","manufacturer":"","device":"")",
       R"("platform":"","connection_type":"","build":"")", R"("category":"sdk_error","error_area":"sql")"});
  std::string text = "[{";
  for (unsigned piece = input.byte(); piece != 0; piece = input.byte()) {
    if (piece < 200) text += kFields[piece % kFields.size()];
    else if (piece < 240) text += input.take(piece - 200);
    else text += "},{";
    if (input.flag()) text += ',';
  }
  return text + "}]";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static auto* service = new Service;
  static int served = 0;
  if (++served % kKeptFor == 0) {
    delete service;
    service = new Service;
  }
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

  auto& collector = service->collector;
  const auto answer = isInit ? collector.takeInit(call) : collector.takeEvents(call);
  fuzz::require(answer.status == 200 || answer.status == 400, "another status", answer.json);
  fuzz::require(isJson(answer.json), "the answer is no JSON", answer.json);
  for (const auto& view : {collector.events("0", "1000"), collector.summary()})
    fuzz::require(view.status == 200 && isJson(view.json), "what it holds can't be shown", view.json);
  return 0;
}

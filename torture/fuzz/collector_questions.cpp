// What is asked over the API: any target, and parameters that are nearly right. It answers, or says what is wrong.
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "collector/api/Api.h"
#include "collector/intake/Intake.h"
#include "collector/questions/ArchiveEngine.h"
#include "collector/questions/Questions.h"

namespace {

using namespace collector;

constexpr const char* kGame = "0123456789abcdef0123456789ABCDEF";
constexpr std::string_view kRecords =
    R"([{"v":2,"user_id":"u","event_uuid":"0a1b2c3d-0000-4000-8000-000000000001","ios_idfa":"","ios_idfv":"","client_ts":1700000000,"sdk_version":"linux 1","os_version":"linux 6","manufacturer":"m","device":"x","platform":"linux","session_id":"","session_num":1,"connection_type":"wifi","build":"1","category":"design","event_id":"a:b","value":1.5,"custom_fields":{"weapon":"sword","perfect":true}},)"
    R"({"v":2,"user_id":"u","event_uuid":"0a1b2c3d-0000-4000-8000-000000000002","ios_idfa":"","ios_idfv":"","client_ts":1700000001,"sdk_version":"linux 1","os_version":"linux 6","manufacturer":"m","device":"x","platform":"linux","session_id":"","session_num":1,"connection_type":"wifi","build":"1","ab_id":"e","ab_variant_id":"a","category":"user"},)"
    R"({"v":2,"user_id":"w","event_uuid":"0a1b2c3d-0000-4000-8000-000000000003","ios_idfa":"","ios_idfv":"","client_ts":1700090000,"sdk_version":"linux 1","os_version":"linux 6","manufacturer":"m","device":"x","platform":"linux","session_id":"","session_num":1,"connection_type":"wifi","build":"1","category":"business","event_id":"t:i","currency":"EUR","amount":99,"transaction_num":1,"cart_type":"c"}])";

// The collector's API above a small archive, in a folder that goes with the process.
struct Asked {
  Asked() : archive(folder.path + "/archive"), engine(archive.readers()), configurations(archive) {
    auto content = std::make_shared<Content>(std::string(kRecords));
    content->game = kGame;
    content->receivedAt = 1'700'000'000;
    forEachElement(content->text, [&](const JsonValue& element, std::string_view text) {
      Findings findings;
      const auto members = readRecord(element, text.size(), findings);
      fuzz::require(findings.good, "a record of the archive isn't good", text);
      content->rows.push_back(rowOf(members, text, content->texts));
    });
    std::promise<bool> kept;
    archive.keep(content, [&](bool isKept) { kept.set_value(isKept); });
    fuzz::require(kept.get_future().get(), "the archive keeps nothing");
  }
  struct Folder {
    std::string path = folderOf();
    ~Folder() { std::filesystem::remove_all(path); }
  };
  static std::string folderOf() {
    const char* const base = std::getenv("TMPDIR");
    std::string path = std::string(base != nullptr ? base : "/tmp") + "/zorvane-questions-XXXXXX";
    fuzz::require(::mkdtemp(path.data()) != nullptr, "no folder", path);
    return path;
  }

  const Folder folder;
  Store archive;
  ArchiveEngine engine;
  ConfigurationStore configurations;
  const Games games{{{kGame, "0123456789abcdef0123456789ABCDEF01234567", "A game"}}};
  const Access access{{}, false};
  const RefusedVisits refused;
  Hub hub;
  Session session{access};
  const Api api{{archive, engine, configurations, games, access, session, hub, refused, [] { return "{}"; }, ""}};
};

std::string encoded(std::string_view text) {
  std::string target;
  for (const char each : text) target += fmt::format("%{:02X}", static_cast<unsigned char>(each));
  return target;
}

std::string parameterOf(fuzz::Input& input, const Question& question) {
  std::string name = input.oneOf({"by", "daily", "under", "user_id", "experiment", "whole", "platform", "build",
                                  "custom_01", "ab_id", "ab_variant_id", "form", "from", "limit"});
  if (!question.takes.empty() && input.flag()) name = question.takes[input.byte() % question.takes.size()].name;
  if (input.byte() == 0) name = input.text();
  std::string value = input.oneOf({"yes", "no", "1", "u", "a", "a:b", "a:b:c:d:e:f", "currency", "currency,flow,", "e",
                                   "csv", "platform,build", "", "field:weapon", "0a1b2c3d-0000-4000-8000-000000000001",
                                   "2023-11-14", "9999-12-31"});
  if (input.flag()) value = input.text();
  return fmt::format("&{}={}", input.flag() ? encoded(name) : name, encoded(value));
}

std::string targetOf(fuzz::Input& input) {
  if (input.flag()) return "/api/" + std::string(input.rest());
  const auto all = questions();
  const Question& question = all[input.byte() % all.size()];
  std::string target = fmt::format("/api/questions/{}?game={}", question.name, kGame);
  target += input.oneOf({"&from=2023-11-14&to=2023-11-16", "&from=0001-01-01&to=9999-12-31",
                         "&from=2023-11-16&to=2023-11-14", "&from=2023-02-30&to=2023-03-01", "&from=2023-11-14", ""});
  while (!input.isEmpty()) target += parameterOf(input, question);
  return target;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Asked asked;
  fuzz::Input input(bytes, size);
  front::Request request;
  request.head.method = "GET";
  request.head.fields = {{"Host", "localhost"}};
  request.head.target = targetOf(input);
  const auto answer = asked.api.answer(request);
  if (answer.status != 200)
    fuzz::require(nlohmann::json::accept(answer.body), "a problem that is no JSON",
                  request.head.target + "\n" + answer.body);
  const auto target = request.head.target;
  fuzz::require(answer.status == 200 || answer.status == 400 || answer.status == 404 || answer.status == 405,
                fmt::format("status {}", answer.status), target);
  if (answer.status != 200)
    fuzz::require(nlohmann::json::parse(answer.body).at("detail").is_string(), "a problem without a reason", target);
  else if (answer.type == "application/json")
    fuzz::require(nlohmann::json::accept(answer.body), "no JSON", answer.body);
  return 0;
}

// The collector as a game meets it: what it answers, what it keeps, and when it says nothing.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <httplib.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "codecs/ZVHelpers.h"
#include "collector/Records.h"
#include "collector/base/Signature.h"
#include "support/Sqlite.h"
#include "system/Processes.h"

namespace collector {
namespace {

using namespace std::chrono_literals;
using namespace testing;

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

const std::string kKey = Game::kKey;
const std::string kSecret = Game::kSecret;
const std::string kConfigured = std::string(31, 'k') + '^';  // a key that an URL can't hold as it is
const std::string kEvents = "/v2/" + kKey + "/events";

std::string gzip(const std::string& text) { return zorvane::ZVHelpers::gzipEnflateWithData(text).value_or(""); }

struct Body {
  std::string sent;
  httplib::Headers headers;
};
Body signedWith(const std::string& signature, const std::string& sent, const std::string& encoding = "") {
  Body body{sent, {{"Authorization", signature}}};
  if (!encoding.empty()) body.headers.emplace("Content-Encoding", encoding);
  return body;
}
Body plain(const std::string& text, const std::string& encoding = "") {
  return signedWith(signatureOf(text, kSecret), text, encoding);
}
Body compressed(const std::string& text) { return plain(gzip(text), "gzip"); }

struct Answer {
  int status;  // 0: none came, for the reason that the body says
  std::string body;
};
Answer answerOf(const httplib::Result& result) {
  return result ? Answer{result->status, result->body} : Answer{0, httplib::to_string(result.error())};
}

std::string withUuid(const std::string& record, int number) {
  return replaced(record, kUuid, fmt::format("0a1b2c3d-0000-4000-8000-{:012x}", number));
}

class ServiceTest : public Test {
 protected:
  void start(std::vector<std::string> more = {}) {
    collector_.emplace(folder_, more);
    client_ = std::make_unique<httplib::Client>(collector_->url());
    client_->set_keep_alive(true);
    client_->set_read_timeout(60s);
  }
  Answer post(const Body& body, const std::string& target = kEvents, const std::string& type = "application/json") {
    return answerOf(client_->Post(target, body.headers, body.sent, type));
  }
  int get(const std::string& target) { return answerOf(client_->Get(target)).status; }

  TemporaryFolder folder_;
  std::optional<RunningCollector> collector_;
  std::unique_ptr<httplib::Client> client_;
};

TEST_F(ServiceTest, KeepsRecordsAsTheyCameAndOnceHoweverOftenTheyCome) {
  start();
  const auto full = record("design", R"("event_id":"a\u00a0b.(!)?","jailbroken":true,"custom_01":"d","ab_id":"x",)"
                                     R"("configurations":{"k":"v"},"custom_fields":{"a":1,"b":"x"},"of_its_own":[])");
  const std::vector<std::string> records = {kDesign, withUuid(full, 1), withUuid(kTrouble, 2)};
  const auto batch = fmt::format("[{} , {},{},{}]", records[0], records[1], records[2], records[1]);
  for (const auto& body : {compressed(batch), plain(batch), compressed('[' + kDesign + ']')}) {
    const auto answer = post(body);
    EXPECT_EQ(answer.body, "[]");
    EXPECT_EQ(answer.status, 200);
  }
  EXPECT_EQ(collector_->recordTexts(), records);
  EXPECT_EQ(collector_->categories(), (std::map<std::string, std::int64_t>{{"design", 2}, {"sdk_error", 1}}));
  EXPECT_THAT(textsOf(collector_->database(),
                      "SELECT game || ' ' || user_id || ' ' || part1 || ' ' || part2 || ' ' || "
                      "value || ' ' || client_ts FROM event WHERE value IS NOT NULL"),
              ElementsAre(kKey + " u a b 1.5 1700000000"));
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(collector_->database()).permissions(), perms::owner_read | perms::owner_write);
}

TEST_F(ServiceTest, KeepsTheRestOfAListWithARecordThatIsRefusedAndSaysWhy) {
  start();
  const auto broken = record("design", R"("event_id":"a:b:c:d:e:f")");
  const auto answer = post(compressed('[' + kDesign + ',' + broken + ']'));
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.body, StartsWith(R"([{"index":1,"reasons":["event_id: )"));
  EXPECT_THAT(collector_->recordTexts(), ElementsAre(kDesign));
  EXPECT_THAT(collector_->refused(), AllOf(HasSubstr(R"("index":1,"reasons":["event_id: )"), HasSubstr("a:b:c:d:e:f")));
  EXPECT_EQ(collector_->metric("refused_records_total"), 1);
}

TEST_F(ServiceTest, AnswersAnInitCallByTheHashOfWhatThePlayerGets) {
  const auto configs = folder_.file("configs.json");
  std::ofstream(configs) << fmt::format(
      R"({{"{}":{{"configurations":[{{"key":"k","value":"7","end_ts":9}},{{"key":"not","value":1,"platforms":["ios"]}}],)"
      R"("experiments":[{{"id":"a","groups":[{{"id":"b"}}]}}]}}}})",
      kConfigured);
  start({"--configs", configs, "--game", kConfigured + ':' + kSecret});
  const auto target = [](const std::string& key, const std::string& hash) {
    return fmt::format("/remote_configs/v1/init?game_key={}&interval_seconds=0&configs_hash={}", key, hash);
  };
  const auto news = post(compressed(kInit), target(kConfigured, ""));
  EXPECT_EQ(news.status, 201);
  EXPECT_THAT(news.body, AllOf(MatchesRegex("\\{\"server_ts\":[0-9]{10},\"configs\":.*"),
                               HasSubstr(R"([{"key":"k","value":"7","start_ts":null,"end_ts":9}],)"),
                               HasSubstr(R"("ab_id":"a","ab_variant_id":"b")")));
  const std::string member = R"("configs_hash":")";
  const auto begin = news.body.find(member) + member.size();
  const auto hash = news.body.substr(begin, news.body.find('"', begin) - begin);
  struct Case {
    std::string key, hash;
    Body body;
    int status;
  };
  const auto onIos = compressed(replaced(kInit, R"("platform":"linux")", R"("platform":"ios")"));
  for (const auto& [key, sentHash, body, status] :
       {Case{kConfigured, hash, compressed(kInit), 200}, Case{kConfigured, hash, onIos, 201},
        Case{kConfigured, hash + "0", compressed(kInit), 201}, Case{kKey, "h", compressed(kInit), 200},
        Case{std::string(32, 'x'), "", compressed(kInit), 401}, Case{kKey, "", plain(kInit), 400},
        Case{kKey, "", signedWith("x", gzip(kInit), "gzip"), 401},
        Case{kKey, "", compressed(R"({"user_id":1})"), 400}}) {
    const auto answer = post(body, target(key, sentHash));
    EXPECT_EQ(answer.status, status) << key << ' ' << sentHash << ' ' << answer.body;
    EXPECT_EQ(answer.body.find("server_ts") != std::string::npos, status < 300) << answer.body;
  }
  EXPECT_THAT(collector_->recordTexts(), IsEmpty()) << "an init call is no event";
}

TEST_F(ServiceTest, ImportsConfigurationsOnceAndLeavesWhatWasEditedSince) {
  const auto configs = folder_.file("configs.json");
  const auto target = "/api/configurations?game=" + kKey;
  const auto startWith = [&](const std::string& key) {
    std::ofstream(configs) << fmt::format(R"({{"{}":{{"configurations":[{{"key":"{}","value":1}}]}}}})", kKey, key);
    start({"--configs", configs});
    return answerOf(client_->Get(target)).body;
  };
  EXPECT_THAT(startWith("of_file"), AllOf(HasSubstr(R"("version":1,)"), HasSubstr("of_file")));
  ASSERT_EQ(answerOf(client_->Put(target + "&version=1&author=anna", "{}", "application/json")).status, 200);
  EXPECT_THAT(startWith("of_file"), HasSubstr(R"("version":2,)"));
  EXPECT_THAT(startWith("of_new_file"), AllOf(HasSubstr(R"("version":3,)"), HasSubstr("of_new_file")));
}

TEST_F(ServiceTest, RefusesWhatIsHostileOrDamagedAndKeepsNothingOfIt) {
  start();
  const auto zeros = std::string(16 * kMebibyte, ' ');
  const auto member = gzip('[' + kDesign + ']');
  struct Case {
    const char* name;
    std::string target;
    Body body;
    int status;
  };
  const auto list = plain('[' + kDesign + ']');
  const auto encoded = "/v2/" + std::string(31, 'k') + "%5E/events";
  for (const auto& [name, target, body, status] :
       std::vector<Case>{{"no signature", kEvents, {list.sent, {}}, 401},
                         {"signature of another body", kEvents, signedWith(signatureOf("[ ]", kSecret), "[]"), 401},
                         {"unknown game", "/v2/" + std::string(32, 'u') + "/events", list, 401},
                         {"unknown game, encoded", encoded, list, 401},
                         {"no game", "/remote_configs/v1/init", list, 401},
                         {"gzip cut short", kEvents, plain(member.substr(0, member.size() - 1), "gzip"), 400},
                         {"over 16 MiB once inflated", kEvents, compressed("[" + zeros.substr(1) + "]"), 413},
                         {"over 8 MiB as sent", kEvents, plain("[" + zeros.substr(0, 8 * kMebibyte - 1) + "]"), 413},
                         {"no body", kEvents, plain(""), 400},
                         {"no list", kEvents, plain(kDesign), 400},
                         {"unknown encoding", kEvents, plain(list.sent, "br"), 400},
                         {"no events", "/v2//events", list, 404},
                         {"no game's events", "/v2/events", list, 404},
                         {"more than a game", "/v2/a/b/events", list, 404},
                         {"more than events", kEvents + "/", list, 404},
                         {"nothing", "/", list, 404}}) {
    const auto answer = post(body, target);
    EXPECT_EQ(answer.status, status) << name << ' ' << answer.body;
  }
  for (const auto& [target, status] :
       {std::pair{kEvents, 404}, {"/", 200}, {"/?x", 200}, {"/x", 404}, {"/health", 200}})
    EXPECT_EQ(get(target), status) << target;
  EXPECT_EQ(countRows(collector_->database(), "SELECT count(*) FROM events"), 0U);
  EXPECT_EQ(collector_->metric("bad_signatures_total"), 2);
  EXPECT_EQ(collector_->metric("unknown_games_total"), 3);
  EXPECT_EQ(post(list, kEvents + "?x=y", "multipart/form-data; boundary=x").status, 200);
}

// A game deletes what was answered, so nothing may be said of what isn't kept.
TEST_F(ServiceTest, SaysNothingOfWhatItCannotKeepAndTakesItOnceItCan) {
  start();
  const auto batch = plain('[' + kDesign + ",{}]");
  ASSERT_EQ(post(plain('[' + withUuid(kDesign, 1) + ']')).status, 200);
  {
    const auto lock = lockDatabase(collector_->database());
    EXPECT_EQ(post(batch).status, 0);
    EXPECT_EQ(get("/ready"), 503);
    EXPECT_EQ(get("/health"), 200);
    EXPECT_EQ(post(plain("[")).status, 0) << "why it was refused is to be kept, too";
    const auto edit = answerOf(client_->Put("/api/configurations?version=0&author=a&game=" + kKey, "{}", "text/json"));
    EXPECT_EQ(edit.status, 503) << edit.body;
    EXPECT_EQ(post(plain("[]", "")).status, 200) << "there is nothing to keep";
  }
  EXPECT_EQ(post(batch).status, 400);
  EXPECT_THAT(collector_->recordTexts(), SizeIs(2));
  EXPECT_EQ(collector_->metric("not_kept_total"), 2);
  EXPECT_EQ(get("/ready"), 200);
}

// Who asks a question deletes nothing on a failure, and wants to know why.
TEST_F(ServiceTest, SaysWhyAQuestionCannotBeAnswered) {
  start({"--warehouse", "http://127.0.0.1:1/events"});
  const auto asked = client_->Get("/api/questions/overview?from=2026-01-01&to=2026-01-02&game=" + kKey);
  ASSERT_TRUE(asked);
  EXPECT_EQ(asked->get_header_value("Content-Type"), "application/problem+json");
  EXPECT_THAT(asked->body, StartsWith(R"({"type":"about:blank","title":"Service Unavailable","status":503,"detail":)"
                                      R"("the warehouse can't be asked: )"));
}

// That no game takes it for an answer, see the library's own tests of its deliveries.
TEST_F(ServiceTest, HasAllItAnsweredAfterItWasKilled) {
  for (const int signal : {SIGKILL, SIGTERM}) {
    start();
    EXPECT_EQ(post(plain('[' + withUuid(kDesign, signal) + ']')).status, 200);
    collector_->process().kill(signal);
    EXPECT_EQ(collector_->process().wait(), signal == SIGKILL ? -SIGKILL : 0);
  }
  start();
  EXPECT_THAT(collector_->categories(), ElementsAre(Pair("design", 2)));
  EXPECT_EQ(post(plain('[' + withUuid(kDesign, SIGKILL) + ']')).status, 200);
  EXPECT_THAT(collector_->categories(), ElementsAre(Pair("design", 2)));
}

TEST_F(ServiceTest, ReadsItsCertificateAgainOnAHangup) {
  const auto pem = folder_.file("server.pem"), renewed = folder_.file("renewed.pem"), old = folder_.file("old.pem");
  for (const auto& each : {pem, renewed}) writeCertificate(each, "IP:127.0.0.1");
  std::filesystem::copy_file(pem, old);
  start({"--tls-cert", pem, "--tls-key", pem});
  ASSERT_THAT(collector_->url(), StartsWith("https://127.0.0.1:"));
  const auto status = [&](const std::string& trusted) {
    httplib::Client client(collector_->url());
    client.set_ca_cert_path(trusted);
    return answerOf(client.Get("/")).status;
  };
  EXPECT_EQ(status(old), 200);
  std::ofstream(pem) << "damaged";
  auto& process = collector_->process();
  process.kill(SIGHUP);
  const auto end = std::chrono::steady_clock::now() + 60s;
  const auto isBefore = [&] { return std::chrono::steady_clock::now() < end; };
  while (isBefore() && process.errors().find("used as a certificate") == std::string::npos) std::this_thread::yield();
  EXPECT_EQ(status(old), 200) << "it keeps the one that it has";
  std::filesystem::copy_file(renewed, pem, std::filesystem::copy_options::overwrite_existing);
  process.kill(SIGHUP);
  while (isBefore() && status(renewed) != 200) std::this_thread::yield();
  EXPECT_EQ(status(renewed), 200);
  EXPECT_EQ(status(old), 0);
}

TEST(CollectorProgram, EndsWithAStatusWhereItCannotServe) {
  const TemporaryFolder folder;
  std::ofstream(folder.file("text")) << "no database, no configurations, no certificate: " << std::string(4096, '.');
  const std::string game = kKey + ':' + kSecret;
  struct Case {
    std::vector<std::string> arguments;
    int status;
  };
  for (const auto& [arguments, status] :
       std::vector<Case>{{{"--help"}, 0},
                         {{"--version"}, 0},
                         {{}, 2},
                         {{"--nothing"}, 2},
                         {{"--game", "key"}, 2},
                         {{"--game", game, "--port", "65536"}, 2},
                         {{"--game", game, "--tls-cert", folder.file("text")}, 2},
                         {{"--game", game, "--tls-cert", folder.file("text"), "--tls-key", folder.file("text")}, 2},
                         {{"--game", game, "--port", "0", "--host", "192.0.2.1"}, 1},
                         {{"--game", game, "--port", "0", "--database", folder.file("text")}, 1},
                         {{"--game", game, "--port", "0", "--database", folder.file("none/none")}, 1},
                         {{"--game", game, "--port", "0", "--configs", folder.file("text")}, 1}}) {
    std::vector<std::string> command{ZORVANE_COLLECTOR};
    command.insert(command.end(), arguments.begin(), arguments.end());
    if (std::ranges::find(command, "--database") == command.end() && status == 1) {
      command.emplace_back("--database");
      command.push_back(folder.file("database"));
    }
    ChildProcess program(folder.path(), command);
    EXPECT_EQ(program.wait(), status) << fmt::to_string(fmt::join(command, " "));
    EXPECT_THAT(status == 0 ? program.output() : program.errors(), HasSubstr("zorvane-collector"));
  }
}

}  // namespace
}  // namespace collector

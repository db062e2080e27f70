#include "collector/Collector.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "codecs/ZVHelpers.h"
#include "collector/Json.h"
#include "collector/Server.h"
#include "collector/Signature.h"
#include "support/ChildProcess.h"
#include "support/LoopbackServer.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"

using namespace zorvane;

namespace collector {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');
const std::string kConfigured = std::string(31, 'k') + '^';  // a key that an URL can't hold as it is
const std::string kEvents = "/v2/" + kKey + "/events";

// What every record of a kind has in common, open at its end.
const std::string kCommon =
    R"({"v":2,"user_id":"u","event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f","ios_idfa":"","ios_idfv":"",)"
    R"("client_ts":1700000000,"sdk_version":"linux 1","os_version":"linux 6","manufacturer":"","device":"x",)"
    R"("platform":"linux","session_id":"","session_num":1,"connection_type":"wifi","build":"")";
const std::string kTrouble =
    R"({"v":2,"event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f","category":"sdk_error","sdk_version":"linux 1",)"
    R"("os_version":"linux 6","manufacturer":"","device":"x","platform":"linux","error_category":"db",)"
    R"("error_area":"sql","error_action":"sql_prepare")";
const std::string kConfigs =
    R"({"configs":[{"key":"k","value":"7","start_ts":null,"end_ts":9}],"configs_hash":"h+1/=","ab_id":"a",)"
    R"("ab_variant_id":"b"})";
const std::string kInit =
    R"({"user_id":"u","ios_idfa":"","ios_idfv":"","sdk_version":"linux 1","os_version":"linux 6",)"
    R"("platform":"linux","build":"","random_salt":0})";

std::string record(const std::string& category, const std::string& own) {
  return kCommon + R"(,"category":")" + category + '"' + (own.empty() ? "" : ',' + own) + '}';
}
const std::string kDesign = record("design", R"("event_id":"a:b","value":1.5)");

std::string gzip(const std::string& text) { return ZVHelpers::gzipEnflateWithData(text).value_or(""); }

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
Answer post(httplib::Client& client, const std::string& target, const Body& body,
            const std::string& type = "application/json") {
  return answerOf(client.Post(target, body.headers, body.sent, type));
}
Answer get(httplib::Client& client, const std::string& target) { return answerOf(client.Get(target)); }

// A socket that a well-behaved client would never open.
class RawClient {
 public:
  explicit RawClient(int port, const std::string& beginning) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval limit{10, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("nobody listens");
    send(beginning);
  }
  ~RawClient() { ::close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  bool send(const std::string& text) {
    return ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
  }
  // Whether it has closed.
  bool readsToTheEnd() {
    char bytes[1024];
    ssize_t count = 0;
    while ((count = ::recv(socket_, bytes, sizeof bytes, 0)) > 0) continue;
    return count == 0 || errno == ECONNRESET;
  }

 private:
  const int socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
};

class CollectorTest : public testing::Test {
 protected:
  void start(const Limits& limits = {}, const TlsContext& tls = nullptr) {
    std::string problem;
    const auto configs = folder_.file("configs.json");
    std::ofstream(configs) << fmt::format(R"({{"{}":{}}})", kConfigured, kConfigs);
    archive_ = Archive::open(folder_.file("archive.sqlite"), problem);
    ASSERT_TRUE(archive_) << problem;
    collector_ = std::make_unique<Collector>(Collector::Games{{kKey, kSecret}, {kConfigured, kSecret}},
                                             *Configs::load(configs, problem), *archive_);
    server_ = std::make_unique<Server>(
        *collector_, tls, [](const std::string&) {}, limits);
    const auto port = server_->listen("127.0.0.1", 0);
    ASSERT_TRUE(port);
    port_ = *port;
    client_ = std::make_unique<httplib::Client>(fmt::format("{}://127.0.0.1:{}", tls ? "https" : "http", port_));
  }

  Answer post(const Body& body, const std::string& type = "application/json") {
    return collector::post(*client_, kEvents, body, type);
  }
  std::int64_t counted(const std::string& name) {
    const auto text = get(*client_, "/summary").body;
    const auto summary = parseJson(text);
    return summary.document.IsObject() ? findMember(summary.document, name)->GetInt64() : -1;
  }

  TemporaryFolder folder_;
  std::unique_ptr<Archive> archive_;
  std::unique_ptr<Collector> collector_;
  std::unique_ptr<Server> server_;
  std::unique_ptr<httplib::Client> client_;
  int port_ = 0;
};

// That it takes every kind of record and the largest, see LibraryTest.cpp.
TEST_F(CollectorTest, KeepsRecordsAsTheyCameAndCountsThoseThatComeAgain) {
  start();
  const auto full =
      record("design", R"("event_id":"a\u00a0b.(!)?","jailbroken":true,"custom_01":"d","configurations":{"k":"v"},)"
                       R"("custom_fields":{"a":1,"b":"x","c":false},"of_its_own":[])");
  const auto answer = post(compressed('[' + kDesign + " , " + full + ']'));
  EXPECT_EQ(answer.body, "[]");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(post(plain('[' + kTrouble + R"(,"reason":")" + std::string(256, 'r') + "\"}]"), "").status, 200);
  EXPECT_EQ(counted("events"), 3);
  EXPECT_EQ(counted("duplicates"), 2);
  EXPECT_NE(get(*client_, "/events?after=1&limit=1").body.find(full), std::string::npos) << "kept as received";
}

TEST_F(CollectorTest, ReportsEveryBrokenPromiseAndKeepsTheRest) {
  start();
  const auto without = [](std::string text, const std::string& part, const std::string& instead = "") {
    return text.replace(text.find(part), part.size(), instead);
  };
  struct Case {
    std::string record, reason;
  };
  const std::vector<Case> cases = {
      {"7", "the record is not an object"},
      {without(kDesign, R"("v":2,)"), "v: is missing"},
      {without(kDesign, R"("v":2)", R"("v":"2")"), "v: is not 2"},
      {without(kDesign, "0a1b", "0A1b"), "event_uuid"},
      {record("design", R"("event_id":"a","jailbroken":false)"), "jailbroken: is not true"},
      {record("design", R"("event_id":"a","custom_fields":{"a":")" + std::string(257, 'x') + "\"}"), "custom_fields"},
      {record("design", R"("event_id":"a:b:c:d:e:f")"), "event_id"},
      {record("session_end", R"("length":-1)"), "length: is too small"},
      {record("business", R"("event_id":"t:i","currency":"Eur","amount":1,"transaction_num":1)"), "currency"},
      {record("resource", R"("event_id":"Sink:g:t:i","amount":10)"), "amount: has the wrong sign"},
      {record("progression", R"("event_id":"Complete:w")"), "attempt_num"},
      {record("ads", R"("ad_sdk_name":"s","ad_placement":"p","ad_type":"banner","ad_action":"show","ad_duration":1)"),
       "ad_duration"},
      {record("impression", R"("ad_network_name":"admob","ad_network_version":"1.2.3.4.5")"), "ad_network_version"},
      {kTrouble + R"(,"user_id":"u"})", "user_id: must not be sent"},
  };
  std::string batch = "[" + kDesign;
  for (const auto& each : cases) batch += ',' + each.record;
  const auto answer = post(compressed(batch + ']'));
  EXPECT_EQ(answer.status, 400);
  const auto rejected = parseJson(answer.body);
  ASSERT_EQ(rejected.elements.size(), cases.size()) << answer.body;
  for (rapidjson::SizeType at = 0; at < cases.size(); ++at) {
    EXPECT_EQ(findMember(rejected.document[at], "index")->GetUint(), at + 1);
    EXPECT_NE(rejected.elements[at].find(cases[at].reason), std::string_view::npos)
        << cases[at].record << " -> " << rejected.elements[at];
    EXPECT_EQ(rejected.document[at]["reasons"].Size(), 1U) << rejected.elements[at];
  }
  EXPECT_EQ(counted("events"), 1);
  EXPECT_EQ(counted("rejected"), static_cast<std::int64_t>(cases.size()));
}

TEST_F(CollectorTest, AnswersAnInitCallByTheHashOfTheConfigurations) {
  start();
  const auto target = [](const std::string& key, const std::string& hash) {
    return fmt::format("/remote_configs/v1/init?game_key={}&interval_seconds=0&configs_hash={}", key, hash);
  };
  const auto news = collector::post(*client_, target(kConfigured, ""), compressed(kInit));
  EXPECT_EQ(news.status, 201);
  EXPECT_NE(news.body.find(kConfigs.substr(1)), std::string::npos) << news.body;
  struct Case {
    std::string key, hash;
    Body body;
    int status;
  };
  for (const auto& [key, hash, body, status] :
       {Case{kConfigured, "h+1/=", compressed(kInit), 200}, Case{kConfigured, "h", compressed(kInit), 201},
        Case{kKey, "h", compressed(kInit), 200}, Case{std::string(32, 'x'), "", compressed(kInit), 401},
        Case{kKey, "", plain(kInit), 400}, Case{kKey, "", compressed(R"({"user_id":1})"), 400}}) {
    const auto answer = collector::post(*client_, target(key, hash), body);
    EXPECT_EQ(answer.status, status) << key << ' ' << hash << ' ' << answer.body;
    EXPECT_EQ(answer.body.find("server_ts") != std::string::npos, status < 300) << answer.body;
  }
  EXPECT_EQ(counted("inits"), 4);
}

TEST_F(CollectorTest, RefusesWhatIsHostileOrDamagedAndKeepsNothingOfIt) {
  start();
  const auto zeros = std::string(64 * kMebibyte, ' ');
  const auto member = gzip("[]");
  struct Case {
    const char* name;
    std::string target;
    Body body;
    int status;
  };
  const std::vector<Case> cases = {
      {"no signature", kEvents, {"[]", {}}, 401},
      {"signature of another body", kEvents, signedWith(signatureOf("[ ]", kSecret), "[]"), 401},
      {"signature with another secret", kEvents, signedWith(signatureOf("[]", kSecret + "s"), "[]"), 401},
      {"signature of the inflated body", kEvents, signedWith(signatureOf("[]", kSecret), member, "gzip"), 401},
      {"unknown game", "/v2/" + std::string(32, 'u') + "/events", plain("[]"), 401},
      {"gzip cut short", kEvents, plain(member.substr(0, member.size() - 1), "gzip"), 400},
      {"garbage behind gzip", kEvents, plain(member + "x", "gzip"), 400},
      {"64 MiB once inflated", kEvents, compressed("[" + zeros.substr(2) + "]"), 200},
      {"over 64 MiB once inflated", kEvents, compressed("[" + zeros.substr(1) + "]"), 413},
      {"8 MiB as sent", kEvents, plain("[" + zeros.substr(0, 8 * kMebibyte - 2) + "]"), 200},
      {"over 8 MiB as sent", kEvents, plain("[" + zeros.substr(0, 8 * kMebibyte - 1) + "]"), 413},
      {"no body", kEvents, plain(""), 400},
      {"garbage behind a zero", kEvents, plain(std::string("[]\0[]", 5)), 400},
      {"not UTF-8", kEvents, plain("[" + record("error", "\"severity\":\"info\",\"message\":\"\xff\"") + "]"), 400},
      {"half a surrogate pair", kEvents, plain("[" + record("error", R"("severity":"info","message":"\ud800")") + "]"),
       400},
      {"a number beyond all numbers", kEvents, plain("[1e999]"), 400},
      {"nested to the stack's end", kEvents, plain(std::string(4 * kMebibyte, '[')), 400},
      {"unknown encoding", kEvents, plain("[]", "br"), 400},
  };
  for (const auto& [name, target, body, status] : cases) {
    const auto answer = collector::post(*client_, target, body);
    EXPECT_EQ(answer.status, status) << name << ' ' << answer.body;
  }
  EXPECT_EQ(post(plain("[]"), "multipart/form-data; boundary=x").status, 200);
  const auto inOneChunk = [&](std::size_t, httplib::DataSink& sink) {
    sink.write(zeros.data(), 9 * kMebibyte);
    sink.done();
    return true;
  };
  EXPECT_EQ(answerOf(client_->Post(kEvents, plain("").headers, inOneChunk, "application/json")).status, 413);
  EXPECT_EQ(counted("events"), 0);
  EXPECT_EQ(counted("rejected"), 0);
  EXPECT_EQ(counted("requests"), static_cast<std::int64_t>(cases.size()) + 2);
}

TEST_F(CollectorTest, ServesGoodClientsWhileOthersHangHalfOpen) {
  Limits patient;
  patient.head = patient.body = 1h;  // so that none of the hanging clients goes away by itself
  start(patient);
  const auto head = fmt::format("POST {} HTTP/1.1\r\nHost: h\r\nContent-Length: 100\r\n", kEvents);
  std::vector<std::unique_ptr<RawClient>> hanging;
  for (int each = 0; each < 16; ++each)
    for (const auto& beginning : {std::string(), std::string("POST"), head, head + "\r\n[{"})
      hanging.push_back(std::make_unique<RawClient>(port_, beginning));
  client_->set_read_timeout(10s);
  const auto answer = post(plain('[' + kDesign + ']'));
  EXPECT_EQ(answer.status, 200) << answer.body;
  server_->stop();  // nor do they hold up the end
  for (auto& each : hanging) EXPECT_TRUE(each->readsToTheEnd());
}

TEST_F(CollectorTest, EndsAClientThatDripsOrWritesWithoutEnd) {
  Limits strict;
  strict.head = strict.body = 300ms;
  strict.linger = 50ms;
  start(strict);
  const auto head = fmt::format("POST {} HTTP/1.1\r\nHost: h\r\n", kEvents);
  using Case = std::pair<std::string, std::string>;
  for (const auto& [beginning, drip] : {Case{"", std::string(4096, 'G')}, Case{head, "Name: value\r\n"},
                                        Case{head + "Content-Length: 1000000\r\n\r\n[", " "},
                                        Case{head + "Transfer-Encoding: chunked\r\n\r\n", "1\r\n \r\n"}}) {
    RawClient client(port_, beginning);
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (client.send(drip) && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_TRUE(client.readsToTheEnd()) << beginning << drip.substr(0, 20);
    EXPECT_LT(std::chrono::steady_clock::now(), end) << beginning << drip.substr(0, 20);
  }
  EXPECT_EQ(counted("events"), 0);
}

TEST_F(CollectorTest, AnswersFailureWhenItCannotKeepARecord) {
  start();
  execute(folder_.file("archive.sqlite"), "DROP TABLE events");
  EXPECT_EQ(post(plain('[' + kDesign + ']')).status, 500);
  EXPECT_EQ(get(*client_, "/summary").status, 500);
}

TEST_F(CollectorTest, SpeaksTls) {
  const auto pem = folder_.file("server.pem");
  writeCertificate(pem, "IP:127.0.0.1");
  std::string problem;
  EXPECT_FALSE(makeTlsContext(pem, folder_.file("missing.pem"), problem));
  EXPECT_NE(problem.find("missing.pem"), std::string::npos);
  start({}, makeTlsContext(pem, pem, problem));
  client_->set_ca_cert_path(pem);
  const auto large = post(plain('[' + kDesign + std::string(7 * kMebibyte, ' ') + ']'));
  EXPECT_EQ(large.status, 200) << large.body;
  EXPECT_EQ(counted("events"), 1);
}

TEST(CollectorProgram, HasAllItAnsweredAfterItWasKilled) {
  const TemporaryFolder folder;
  for (const std::size_t kept : {0U, 1U}) {
    ChildProcess program(folder.path(), {ZORVANE_COLLECTOR, "--port", "0", "--game", kKey + ':' + kSecret, "--database",
                                         folder.file("archive.sqlite")});
    const auto line = program.firstLine();
    httplib::Client client(line.substr(line.rfind(' ') + 1));
    const auto before = get(client, "/events");
    ASSERT_EQ(before.status, 200) << program.errors();
    EXPECT_EQ(parseJson(before.body).elements.size(), kept);
    EXPECT_EQ(post(client, kEvents, plain('[' + kDesign + ']')).status, 200);
    program.kill(kept == 0 ? SIGKILL : SIGTERM);
    EXPECT_EQ(program.wait(), kept == 0 ? -SIGKILL : 0);
  }
}

}  // namespace
}  // namespace collector

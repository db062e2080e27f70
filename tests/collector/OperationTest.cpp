// The collector's programs as those who run it use them.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "collector/Records.h"
#include "collector/base/Files.h"
#include "collector/base/Signature.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace collector {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');
const std::string kEvents = "/v2/" + kKey + "/events";

struct Ended {
  int status;
  std::string output, errors;
};

class OperationTest : public testing::Test {
 protected:
  Ended run(const std::string& program, std::vector<std::string> arguments) {
    const auto folder = folder_.file("run" + std::to_string(++runs_));
    std::filesystem::create_directory(folder);
    arguments.insert(arguments.begin(), program);
    ChildProcess process(folder, std::move(arguments));
    const int status = process.wait();
    return {status, process.output(), process.errors()};
  }
  Ended collector(std::vector<std::string> arguments) { return run(ZORVANE_COLLECTOR, std::move(arguments)); }
  Ended report(std::vector<std::string> arguments) {
    if (arguments.size() > 0) arguments.insert(arguments.end(), {"--database", database_});
    return run(ZORVANE_REPORT, std::move(arguments));
  }

  void serve(const std::vector<std::string>& more = {}, ChildProcess::Limits limits = {}) {
    std::vector<std::string> command{ZORVANE_COLLECTOR, "--port", "0", "--database", database_};
    command.insert(command.end(), more.begin(), more.end());
    if (more.empty() || more.front() != "--games") command.insert(command.end(), {"--game", kKey + ":" + kSecret});
    process_ = std::make_unique<ChildProcess>(folder_.path(), command, "", limits);
    const auto line = process_->firstLine();
    const auto start = line.find("http");
    ASSERT_NE(start, std::string::npos) << process_->errors();
    url_ = line.substr(start);
    client_ = std::make_unique<httplib::Client>(url_);
    client_->set_read_timeout(60s);
  }
  // The status; 0 when there was no answer.
  int post(const std::string& body, const std::string& key = kKey, const std::string& secret = kSecret) {
    const auto answer = client_->Post(fmt::format("/v2/{}/events", key), {{"Authorization", signatureOf(body, secret)}},
                                      body, "application/json");
    return answer ? answer->status : 0;
  }
  httplib::Response get(const std::string& path, const httplib::Headers& headers = {}) {
    const auto answer = client_->Get(path, headers);
    return answer ? *answer : httplib::Response();
  }
  // What a listener gets from the beginning, upon which `body` is sent, to that text.
  std::string heardUntil(const std::string& text, const std::string& body = "[]") {
    httplib::Client listener(url_);
    std::string heard;
    const auto end = std::chrono::steady_clock::now() + 60s;
    listener.Get("/api/live?game=" + kKey, [&](const char* data, std::size_t size) {
      if (heard.empty()) {
        EXPECT_EQ(post(body), 200);
      }
      heard.append(data, size);
      return heard.find(text) == std::string::npos && std::chrono::steady_clock::now() < end;
    });
    return heard;
  }
  int stop() {
    process_->kill(SIGTERM);
    return process_->wait();
  }
  std::string logUntil(const std::string& text) {
    for (int count = 0; count < 1000 && process_->errors().find(text) == std::string::npos; ++count)
      std::this_thread::sleep_for(10ms);
    return process_->errors();
  }
  static mode_t modeOf(const std::string& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
  }
  // Some events of two players.
  static std::string batch() {
    return fmt::format("[{},{}]", replaced(kDesign, "000f", "0001"),
                       replaced(replaced(kDesign, "000f", "0002"), R"("user_id":"u")", R"("user_id":"w")"));
  }

  const TemporaryFolder folder_;
  const std::string database_ = folder_.file("a.sqlite");
  int runs_ = 0;
  std::unique_ptr<ChildProcess> process_;
  std::string url_;
  std::unique_ptr<httplib::Client> client_;
};

TEST_F(OperationTest, CommandLinesAreTakenOrRefusedWithWhatIsWrong) {
  struct Case {
    std::vector<std::string> arguments;
    int status;
    std::string said;
  };
  for (const auto& [arguments, status, said] : std::vector<Case>{
           {{"--version"}, 0, "zorvane-collector 0."},
           {{"--help"}, 0, "--log-format"},
           {{"game", "--help"}, 0, "add"},
           {{"game", "add", "--help"}, 0, "NAME"},
           {{"backup", "--help"}, 0, "--database"},
           {{"erase", "--help"}, 0, "--user"},
           {{}, 2, "--games or --game"},
           {{"--game", "k:s"}, 2, "KEY:SECRET"},
           {{"--games", "f", "--game", kKey + ":" + kSecret}, 2, "excludes"},
           {{"--games", "f", "--log-format", "xml"}, 2, "--log-format"},
           {{"--games", "f", "--port", "70000"}, 2, "65535"},
           {{"--games", "f", "--proxy", "x"}, 2, "IP address"},
           {{"--games", "f", "--tls-cert", "c"}, 2, "--tls-key"},
           {{"--games", folder_.file("none")}, 1, "can't be read"},
           {{"game"}, 2, "subcommand"},
           {{"game", "add"}, 2, "NAME"},
           {{"game", "add", "two\nlines", "--games", folder_.file("games")}, 1, "printable"},
           {{"--port", "1", "game", "add", "x"}, 2, "--port"},
           {{"backup"}, 2, "FILE"},
           {{"backup", folder_.file("b"), "--database", folder_.file("none")}, 1, "no such database"},
           {{"erase", "--game", kKey}, 2, "--user"},
           {{"erase", "--game", kKey, "--user", "u", "--database", folder_.file("none")}, 1, "no such database"}}) {
    const auto ended = collector(arguments);
    EXPECT_EQ(ended.status, status) << testing::PrintToString(arguments) << ended.errors;
    EXPECT_THAT(ended.output + ended.errors, HasSubstr(said)) << testing::PrintToString(arguments);
  }
  EXPECT_FALSE(std::filesystem::exists(folder_.file("none")));
}

TEST_F(OperationTest, TakesAGameThatIsAddedWhileItRuns) {
  const auto games = folder_.file("games");
  const auto keys = [&](const char* name) {
    const auto said = collector({"game", "add", name, "--games", games}).output;
    return std::pair(said.substr(said.find("key") + 8, 32), said.substr(said.find("secret") + 8, 40));
  };
  const auto [first, firstSecret] = keys("First");
  EXPECT_EQ(modeOf(games), 0600u);
  serve({"--games", games});
  EXPECT_EQ(post("[]", first, firstSecret), 200);
  const auto [second, secret] = keys("Second one");
  EXPECT_EQ(post("[]", second, secret), 401);
  process_->kill(SIGHUP);
  int status = 401;
  for (int count = 0; count < 1000 && status == 401; ++count) status = post("[]", second, secret);
  EXPECT_EQ(status, 200);
  EXPECT_THAT(get("/api/games").body, HasSubstr(R"("name":"Second one")"));
  std::ofstream(games, std::ios::app) << "half a li";
  process_->kill(SIGHUP);
  EXPECT_THAT(logUntil("stays: "), HasSubstr("line 3"));
  EXPECT_EQ(post("[]", first, firstSecret), 200);
}

TEST_F(OperationTest, CopiesAndErasesWhileItRuns) {
  serve({"--quiet"});
  ASSERT_EQ(post(batch()), 200);
  const auto copy = folder_.file("copy.sqlite");
  EXPECT_EQ(collector({"backup", copy, "--database", database_}).status, 0);
  EXPECT_EQ(modeOf(copy), 0600u);
  const auto again = collector({"backup", copy, "--database", database_});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.errors, HasSubstr("can't be made"));
  const auto erase = [&] {
    return collector({"erase", "--game", kKey, "--user", "u", "--database", database_}).output;
  };
  EXPECT_THAT(heardUntil(R"("user_id":"w")"), HasSubstr(R"("user_id":"u")"));
  EXPECT_THAT(erase(), StartsWith("1 events"));
  EXPECT_THAT(erase(), StartsWith("0 events"));
  EXPECT_THAT(heardUntil(R"("user_id":"x")", '[' + replaced(kDesign, R"("user_id":"u")", R"("user_id":"x")") + ']'),
              AllOf(HasSubstr(R"("user_id":"x")"), Not(HasSubstr(R"("user_id":"u")"))))
      << "it doesn't remember the player either";
  const std::vector<std::string> life{"player",     "--user-id", "u",          "--from",
                                      "2023-11-01", "--to",      "2023-11-30", "--csv"};
  EXPECT_THAT(report(life).output, Not(HasSubstr("design")));
  auto ofCopy = life;
  ofCopy.insert(ofCopy.end(), {"--database", copy});
  EXPECT_THAT(run(ZORVANE_REPORT, ofCopy).output, HasSubstr("design"));
  EXPECT_EQ(post(batch()), 200) << "the collector goes on";
}

TEST_F(OperationTest, ReportsOfASmallArchive) {
  EXPECT_THAT(report({"overview"}).errors, HasSubstr("no such database"));
  serve({"--quiet"});
  EXPECT_THAT(report({"overview"}).errors, HasSubstr("there are no events"));
  ASSERT_EQ(post(batch()), 200);
  const std::vector<std::string> days{"--from", "2023-11-14", "--to", "2023-11-14"};
  const auto ask = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), days.begin(), days.end());
    return report(arguments);
  };
  EXPECT_EQ(ask({"overview"}).output,
            "day         players  new_players  sessions  ended  seconds\n"
            "2023-11-14        2            2         0      0        0\n");
  EXPECT_THAT(ask({"overview", "--csv"}).output, HasSubstr("2023-11-14,2,2,0,0,0\r\n"));
  EXPECT_THAT(ask({"overview", "--json", "--platform", "linux"}).output, HasSubstr(R"([["2023-11-14",2,2,0,0,0]])"));
  EXPECT_EQ(ask({"overview", "--csv", "--platform", "none"}).output.find("2023"), std::string::npos);
  EXPECT_EQ(report({"overview"}).output.find("2023"), std::string::npos) << "the last 30 days";
  EXPECT_THAT(report({}).output, HasSubstr("retention"));
  struct Case {
    std::vector<std::string> arguments;
    int status;
    std::string said;
  };
  for (const auto& [arguments, status, said] :
       std::vector<Case>{{{"nothing"}, 2, "Questions: overview"},
                         {{"overview", "--by", "x"}, 2, "overview takes --help --whole --game"},
                         {{"overview", "--from", "yesterday"}, 2, "from: "},
                         {{"overview", "--to", "2023-02-30"}, 2, "to: "},
                         {{"overview", "--csv", "--json"}, 2, "--json"},
                         {{"player"}, 2, "user_id"}}) {
    const auto ended = report(arguments);
    EXPECT_EQ(ended.status, status) << testing::PrintToString(arguments);
    EXPECT_THAT(ended.errors, HasSubstr(said));
    EXPECT_THAT(ended.output, IsEmpty());
  }
}

TEST_F(OperationTest, LogsEachRequestOnce) {
  struct Case {
    std::vector<std::string> options;
    std::string known, unknown;
  };
  const std::string other(32, 'u');
  for (const auto& [options, known, unknown] :
       std::vector<Case>{{{"--log-format", "text"},
                          fmt::format(" 127.0.0.0 POST {} 400 game={} ", kEvents, kKey),
                          fmt::format(" POST /v2/{}/events 401 game=- ", other)},
                         {{"--log-format", "json", "--log-addresses"},
                          fmt::format(R"("address":"127.0.0.1","method":"POST","path":"{}","status":400,)", kEvents),
                          R"("why":"the game is unknown"})"}}) {
    serve(options);
    const auto body = fmt::format("[{},{}]", kDesign, record("design", R"("event_id":"")"));
    EXPECT_EQ(post(body), 400);
    EXPECT_EQ(post("[]", other), 401);
    EXPECT_EQ(get("/api/visits/refused").status, 200);
    EXPECT_EQ(get("/api/games?unknown=1").status, 400);
    EXPECT_THAT(get("/api/visits/refused").body,
                testing::AllOf(HasSubstr(R"("why":"the game is unknown")"), Not(HasSubstr(kKey)),
                               HasSubstr(R"("path":"/api/games","game":"","status":400,"why":"unknown: )")));
    EXPECT_EQ(stop(), 0);
    const auto log = process_->errors();
    EXPECT_THAT(log, HasSubstr(known));
    EXPECT_THAT(log, HasSubstr(unknown));
    EXPECT_THAT(log, options[1] == "text" ? HasSubstr(" taken=1 refused=1 ") : HasSubstr(R"("taken":1,"refused":1,)"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 5) << log;
  }
  serve({"--quiet"});
  EXPECT_EQ(post("[]"), 200);
  EXPECT_EQ(stop(), 0);
  EXPECT_THAT(process_->errors(), IsEmpty());
}

TEST_F(OperationTest, WarnsOfSecretsOnTheCommandLine) {
  serve({"--quiet", "--proxy", "127.0.0.1"});
  EXPECT_THAT(logUntil("--game"), HasSubstr("--game is for development"));
}

TEST_F(OperationTest, IsNotReadyWhileItsDiskIsFull) {
  serve({"--quiet"}, {.fileSize = 400'000, .user = {}});
  EXPECT_EQ(get("/ready").body, R"({"ready":true})");
  int status = 200;
  for (int count = 0; count < 1000 && status == 200; ++count)
    status = post(fmt::format("[{}]", replaced(kDesign, "00000000000f", fmt::format("{:012}", count))));
  EXPECT_EQ(status, 0) << "a game that gets no answer keeps its events";
  for (int count = 0; count < 20; ++count) {  // each has something written once more
    const auto ready = get("/ready");
    EXPECT_EQ(ready.status, 503);
    EXPECT_THAT(ready.body, StartsWith(R"({"ready":false,"why":")"));
  }
  EXPECT_EQ(get("/health").status, 200);
  EXPECT_THAT(get("/metrics").body, HasSubstr("\nzorvane_archive_writable 0\n"));
  EXPECT_EQ(stop(), 0);
  const auto log = process_->errors();
  EXPECT_THAT(log, HasSubstr(" The archive can't be written, so games keep their events: "));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
}

TEST_F(OperationTest, ShowsItsMetricsToThoseWhoMayLook) {
  const auto token = folder_.file("token");
  std::ofstream(token) << "open sesame\n";
  serve({"--quiet", "--read-token", token});
  EXPECT_EQ(get("/metrics").status, 401);
  EXPECT_EQ(get("/metrics", {{"Authorization", "Bearer open sesame"}}).status, 200);
  EXPECT_EQ(get("/ready").status, 200);
  EXPECT_EQ(get("/health").status, 200);
}

TEST_F(OperationTest, ShowsWhatArrivesToABrowserThatSignedIn) {
  const auto token = folder_.file("token");
  std::ofstream(token) << "open sesame\n";
  serve({"--read-token", token});
  const auto signIn = [&](const std::string& with) {
    return client_->Post("/api/session", fmt::format(R"({{"token":"{}"}})", with), "application/json");
  };
  EXPECT_EQ(signIn("open")->status, 401);
  EXPECT_EQ(signIn(std::string(5'000, 'x'))->status, 413) << "anybody may send that";
  const auto cookie = signIn("open sesame")->get_header_value("Set-Cookie");
  EXPECT_THAT(cookie, Not(HasSubstr("Secure"))) << "it comes without TLS";
  const httplib::Headers headers = {{"Cookie", cookie.substr(0, cookie.find(';'))}};
  EXPECT_EQ(get("/api/status").status, 401);

  std::mutex guard;
  std::string heard;  // guarded by guard
  std::thread listening([&] {
    httplib::Client client(url_);
    client.Get("/api/live?user_id=w&game=" + kKey, headers, [&](const char* bytes, std::size_t size) {
      const std::scoped_lock lock(guard);
      heard.append(bytes, size);
      return true;
    });
  });
  const auto hears = [&](const std::string& text) {
    for (int count = 0; count < 1000; ++count) {
      {
        const std::scoped_lock lock(guard);
        if (heard.find(text) != std::string::npos) return true;
      }
      std::this_thread::sleep_for(10ms);
    }
    return false;
  };
  EXPECT_TRUE(hears("retry"));
  EXPECT_THAT(get("/api/status", headers).body, HasSubstr(R"("streaming":1})"));
  EXPECT_EQ(post(batch()), 200);
  EXPECT_TRUE(hears(R"("user_id":"w","session_id":"")"));
  EXPECT_FALSE(heard.find(R"("user_id":"u")") != std::string::npos);
  EXPECT_THAT(get("/api/status", headers).body, HasSubstr(R"("events":2,)"));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(stop(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - before, 3s) << "it waits for nobody who listens";
  listening.join();
  EXPECT_THAT(process_->errors(), HasSubstr(" GET /api/live 200 "));
  EXPECT_THAT(process_->errors(), HasSubstr(" ended=stopping"));
}

}  // namespace
}  // namespace collector

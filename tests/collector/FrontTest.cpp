#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/resource.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "collector/RawClient.h"
#include "collector/front/Server.h"
#include "collector/front/Stream.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace collector::front {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::size_t kKibibyte = 1024, kMebibyte = 1024 * kKibibyte;
constexpr auto kLong = 1h;

std::string head(const std::string& line, const std::string& fields = {}) {
  return line + " HTTP/1.1\r\nHost: h\r\n" + fields + "\r\n";
}
std::string get(const std::string& target, const std::string& fields = {}) { return head("GET " + target, fields); }
std::string post(const std::string& target, const std::string& body) {
  return head("POST " + target, fmt::format("Content-Length: {}\r\n", body.size())) + body;
}
std::string beginningOf(std::size_t bytes, std::size_t arrived) {
  return head("POST /echo", fmt::format("Content-Length: {}\r\n", bytes)) + std::string(arrived, 'x');
}

// Answers by the path.
class Echo final : public Handler {
 public:
  Admission admit(const Head& head) override {
    if (head.target.starts_with("/refused")) return Response{401, "text/plain", "refused"};
    return std::size_t{8} * kMebibyte;
  }
  void handle(Request request, Done done) override {
    const auto& target = request.head.target;
    if (target == "/none") return done(std::nullopt);
    if (target == "/failed") return done(Response{500, "text/plain", "failed"});
    if (target == "/never") return;
    if (target == "/large") return done(Response{200, "text/plain", std::string(64 * kMebibyte, 'x')});
    if (target == "/stream") {
      auto stream = std::make_shared<Stream>();
      const std::scoped_lock lock(guard_);
      streams_.push_back(stream);
      Response response{200, "text/plain", "", {{"X-Seen", "yes"}}};
      response.stream = std::move(stream);
      done(std::move(response));
      changed_.notify_all();
      return;
    }
    if (target == "/later") {
      const std::scoped_lock lock(guard_);
      later_.push_back(std::move(done));
      changed_.notify_all();
      return;
    }
    const auto text = request.body.size() > 100 ? fmt::format("{} bytes", request.body.size()) : request.body;
    done(Response{200, "text/plain", fmt::format("{} {} {}", request.head.method, target, text), {{"X-Seen", "yes"}}});
  }
  // Waits for so many requests of "/later".
  void await(std::size_t count) {
    std::unique_lock lock(guard_);
    ASSERT_TRUE(changed_.wait_for(lock, 60s, [&] { return later_.size() >= count; }));
  }
  // The next stream, in the order of the requests; null when its client has left.
  std::shared_ptr<Stream> stream(std::size_t at) {
    std::unique_lock lock(guard_);
    changed_.wait_for(lock, 60s, [&] { return streams_.size() > at; });
    return streams_.at(at).lock();
  }
  void answerThem() {
    const std::scoped_lock lock(guard_);
    for (const auto& done : later_) done(Response{200, "text/plain", "at last"});
    later_.clear();
  }

 private:
  std::mutex guard_;
  std::condition_variable changed_;
  std::vector<Done> later_;
  std::vector<std::weak_ptr<Stream>> streams_;
};

class FrontTest : public testing::Test {
 protected:
  FrontTest() {
    auto& limits = settings_.limits;  // nothing ends by itself
    limits.head = limits.body = limits.answer = limits.idle = kLong;
    settings_.log = [this](const Visit& visit) {
      const std::scoped_lock lock(guard_);
      visits_.push_back(fmt::format("{} {} {} {}{}", visit.address, visit.method, visit.target, visit.status,
                                    visit.ending.empty() ? "" : " " + std::string(visit.ending)));
    };
  }
  void start() {
    server_ = std::make_unique<Server>(echo_, settings_);
    port_ = server_->listen("127.0.0.1", 0);
    ASSERT_NE(port_, 0);
  }
  std::unique_ptr<RawClient> client(const std::string& beginning, const std::string& from = "127.0.0.1") {
    return std::make_unique<RawClient>(port_, beginning, from);
  }
  std::string answerTo(const std::string& request, const std::string& from = "127.0.0.9") {
    return client(request, from)->answer();
  }
  std::vector<std::string> visits() {
    const std::scoped_lock lock(guard_);
    return visits_;
  }
  // What the server counts comes to that in the end.
  template <class Count>
  void expectSoon(const Count& count, std::uint64_t value) {
    for (const auto end = std::chrono::steady_clock::now() + 60s; count() != value;) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << count() << ", not " << value;
      std::this_thread::sleep_for(1ms);
    }
  }
  void expectSoon(Ending ending, std::uint64_t value) {
    expectSoon([&] { return server_->tally().counted(ending); }, value);
  }
  void expectConnections(std::uint64_t value) {
    expectSoon([&] { return server_->tally().connections.load(); }, value);
  }
  void expectMemory(std::uint64_t value) {
    expectSoon([&] { return server_->tally().memory.load(); }, value);
  }

  Echo echo_;
  Settings settings_;
  std::mutex guard_;
  std::vector<std::string> visits_;  // guarded by guard_
  std::unique_ptr<Server> server_;
  int port_ = 0;
};

TEST_F(FrontTest, AnswersTheRequestsOfAConnectionInTheirOrderHoweverTheyArrive) {
  start();
  const std::vector<std::pair<std::string, std::string>> exchanges = {
      {get("/a"), "GET /a "},
      {post("/b", "body"), "POST /b body"},
      {head("POST /c", "Transfer-Encoding: chunked\r\n") + "3\r\nabc\r\n2;x=y\r\nde\r\n0\r\nHost: other\r\n\r\n",
       "POST /c abcde"},
      {head("POST /c", "Transfer-Encoding: chunked\r\n") + "0\r\n\r\n", "POST /c "},
      {get("/refused"), "refused"},
      {head("PUT /d", "content-length: 0\r\nX: \t y \r\n"), "PUT /d "},
      {post("/e", std::string(100 * kKibibyte, 'e')), "POST /e 102400 bytes"},
  };
  std::string all;
  for (const auto& [request, answer] : exchanges) all += request;
  RawClient pipelining(port_, all), dripping(port_), polite(port_);
  std::thread drips([&] {
    for (const auto& [request, answer] : exchanges)
      for (std::size_t at = 0; at < request.size(); at += at < 300 ? 1 : 4096)
        dripping.send(std::string_view(request).substr(at, at < 300 ? 1 : 4096));
  });
  for (auto* const each : {&pipelining, &dripping, &polite})
    for (const auto& [request, answer] : exchanges) {
      if (each == &polite) each->send(request);
      EXPECT_THAT(each->answer(), AllOf(StartsWith("HTTP/1.1 "), Not(HasSubstr("Connection")),
                                        HasSubstr("Content-Type: text/plain\r\n"), EndsWith("\r\n\r\n" + answer)));
    }
  drips.join();
  for (int each = 0; each < 500; ++each) ASSERT_TRUE(polite.send(get("/x")) && polite.answer().ends_with("GET /x "));

  polite.send(head("HEAD /f", "Connection: close\r\n"));
  EXPECT_THAT(polite.rest(),
              AllOf(HasSubstr("Content-Length: 8\r\nConnection: close\r\nX-Seen: yes\r\n"), EndsWith("\r\n\r\n")));
  RawClient waiting(port_, head("POST /g", "Expect: 100-Continue\r\nContent-Length: 4\r\n"));
  EXPECT_EQ(waiting.answer(), "HTTP/1.1 100 Continue\r\n\r\n");
  waiting.send("body");
  EXPECT_THAT(waiting.answer(), EndsWith("POST /g body"));
  EXPECT_THAT(answerTo(get("/")), EndsWith("GET / "));  // what is logged comes in that order, too
  EXPECT_THAT(visits(), testing::Contains("127.0.0.1 POST /g 200"));
}

TEST_F(FrontTest, ClosesUnansweredWhatIsNoRequest) {
  start();
  const std::string host = "Host: h\r\n", length = "Content-Length: 1\r\n", chunked = "Transfer-Encoding: chunked\r\n";
  std::string fields;
  for (int field = 0; field < 100; ++field) fields += fmt::format("F{}: x\r\n", field);
  const std::vector<std::string> requests = {
      "GET / HTTP/1.0\r\n" + host + "\r\n",
      "GET / HTTP/2.0\r\n" + host + "\r\n",
      "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n",
      "GET /\r\n\r\n",
      "GET  / HTTP/1.1\r\n" + host + "\r\n",
      "GET / HTTP/1.1\n" + host + "\r\n",
      "GET / HTTP/1.1\r\n\r\n",
      get("/", host),
      get("/", " folded: x\r\n"),
      get("/", "Spaced : x\r\n"),
      get("/", "Colonless\r\n"),
      get("/", std::string("Zero: \0\r\n", 9)),
      get("/", ": nameless\r\n"),
      head("POST /", length + chunked) + "1\r\nx\r\n0\r\n\r\n",
      head("POST /", chunked + length) + "1\r\nx\r\n0\r\n\r\n",
      head("POST /", length + "Content-Length: 2\r\n") + "xy",
      head("POST /", "Content-Length: -1\r\n"),
      head("POST /", "Content-Length: 1x\r\n") + "x",
      head("POST /", "Content-Length: 99999999999999999999\r\n"),
      head("POST /", "Transfer-Encoding: gzip, chunked\r\n"),
      head("POST /", "Transfer-Encoding: identity\r\n" + length) + "x",
      head("POST /", chunked) + "x\r\n\r\n",
      head("POST /", chunked) + "2\r\nabc\r\n0\r\n\r\n",
      head("POST /", chunked) + "1;" + std::string(20 * kKibibyte, 'x'),
      head("POST /", chunked) + "0\r\n" + std::string(20 * kKibibyte, 'x'),
      get("/" + std::string(20 * kKibibyte, 'x')),
      get("/", "F: " + std::string(20 * kKibibyte, 'x') + "\r\n"),
      get("/", fields),
      std::string(20 * kKibibyte, 'G'),
      std::string("\x16\x03\x01\x02\x00\x01", 6) + std::string(600, '\0'),
  };
  for (const auto& request : requests) EXPECT_EQ(client(request)->rest(), "") << request.substr(0, 80);
  RawClient lines(port_, "GET / HTTP/1.1\r\n" + host);  // whole lines, which a parser has done with
  for (const std::string line = "N: " + std::string(995, 'x') + "\r\n"; lines.send(line);) std::this_thread::yield();
  EXPECT_EQ(lines.rest(), "");
  expectSoon(Ending::malformed, requests.size() + 1);
  EXPECT_THAT(visits(), testing::Contains("127.0.0.1 GET / 0 malformed"));
  for (const auto& path : {"/none", "/failed"}) EXPECT_EQ(client(get(path) + get("/"))->rest(), "") << path;
  expectSoon(Ending::unanswered, 2);
  EXPECT_THAT(answerTo(get("/")), EndsWith("GET / "));
}

// The client goes on sending all of it before it looks for an answer.
TEST_F(FrontTest, LetsARefusalReachAClientThatIsStillSending) {
  start();
  const std::string large(9 * kMebibyte, 'x');
  const std::string length = fmt::format("Content-Length: {}\r\n", large.size());
  const std::string chunk = fmt::format("{:x}\r\n{}\r\n0\r\n\r\n", large.size(), large);
  struct Case {
    std::string request, answer;
  };
  for (const auto& [request, answer] :
       {Case{head("POST /refused", length) + large, "HTTP/1.1 401 Unauthorized"},
        Case{head("POST /echo", length) + large, "HTTP/1.1 413 Payload Too Large"},
        Case{head("POST /echo", "Transfer-Encoding: chunked\r\n") + chunk, "HTTP/1.1 413 Payload Too Large"},
        Case{head("POST /echo", "Expect: 100-continue\r\n" + length), "HTTP/1.1 413 Payload Too Large"}})
    EXPECT_THAT(client(request)->answer(), AllOf(StartsWith(answer), HasSubstr("Connection: close\r\n")));
  EXPECT_EQ(server_->tally().memory, 0U);
  EXPECT_THAT(answerTo(post("/echo", large.substr(0, 8 * kMebibyte))), EndsWith("8388608 bytes"));
}

TEST_F(FrontTest, EndsEveryClientThatTakesTooLong) {
  struct Case {
    std::chrono::milliseconds Limits::*limit;
    std::string beginning, drip, answer;
  };
  const std::vector<Case> cases = {
      {&Limits::head, "", "", ""},
      {&Limits::head, "", "G", ""},
      {&Limits::head, "GET / HTTP/1.1\r\n", "N: v\r\n", ""},
      {&Limits::head, get("/a") + get("/b").substr(0, 10), "x", "HTTP/1.1 200"},
      {&Limits::body, beginningOf(kMebibyte, 1), "", ""},
      {&Limits::body, beginningOf(kMebibyte, 1), "x", ""},
      {&Limits::body, head("POST /", "Transfer-Encoding: chunked\r\n"), "1\r\nx\r\n", ""},
      {&Limits::answer, get("/never"), "", ""},
      {&Limits::idle, get("/a"), "", "HTTP/1.1 200"},
      {&Limits::linger, head("POST /refused", "Content-Length: 1000000\r\n"), "x", "HTTP/1.1 401"},
  };
  const auto patient = settings_.limits;
  for (const auto& [limit, beginning, drip, answer] : cases) {
    SCOPED_TRACE(beginning.substr(0, 40) + drip);
    settings_.limits = patient;
    settings_.limits.*limit = 300ms;
    start();
    RawClient slow(port_, beginning);
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!drip.empty() && slow.send(drip) && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(5ms);
    EXPECT_LT(std::chrono::steady_clock::now(), end);
    EXPECT_EQ(slow.rest().substr(0, 12), answer);
    expectConnections(0);
  }
  settings_.limits = patient;
  settings_.limits.answer = 300ms;
  start();
  RawClient unread(port_, get("/large"));
  expectSoon(Ending::overdue, 1);
  expectConnections(0);
}

TEST_F(FrontTest, ServesAGoodClientWhileHundredsHang) {
  settings_.limits.connections = 200;
  start();
  std::vector<std::unique_ptr<RawClient>> hanging;
  const auto begin = [&](const std::string& beginning) {
    for (int each = 0; each < 300; ++each)
      hanging.push_back(client(beginning, fmt::format("127.0.{}.{}", 1 + each % 10, 1 + each % 200)));
  };
  for (const auto& beginning : {std::string(), get("/").substr(0, 20), beginningOf(100, 2), get("/done")}) {
    begin(beginning);
    EXPECT_THAT(answerTo(get("/good")), EndsWith("GET /good ")) << beginning;
    EXPECT_LE(server_->tally().connections, 200U);
  }
  server_->stop();  // nor do they hold up the end
  for (std::size_t each = 0; each < hanging.size(); ++each)
    EXPECT_THAT(hanging[each]->rest(), testing::AnyOf("", EndsWith("GET /done "))) << each;
}

TEST_F(FrontTest, LetsThoseGoFirstThatHaveWaitedLongest) {
  settings_.limits.connections = 4;
  start();
  const auto asking = client(get("/later"));
  echo_.await(1);
  const auto silent = client("");
  expectConnections(2);
  const auto idle = client(get("/a"));
  idle->answer();
  const auto sending = client(beginningOf(4, 2));
  expectSoon([&] { return server_->tally().requests.load(); }, 3);
  EXPECT_THAT(answerTo(get("/b")), EndsWith("GET /b "));
  EXPECT_EQ(silent->rest(), "");
  RawClient third(port_, get("/c"));
  EXPECT_THAT(third.answer(), EndsWith("GET /c "));
  expectSoon(Ending::connections, 1);
  sending->send("xx");
  EXPECT_THAT(sending->answer(), EndsWith("POST /echo xxxx"));
  echo_.answerThem();
  EXPECT_THAT(asking->answer(), EndsWith("at last"));
}

TEST_F(FrontTest, LimitsTheConnectionsOfOneAddress) {
  settings_.limits.ofOneAddress = 3;
  settings_.proxies.add("127.0.0.7");
  start();
  const auto silent = client("", "127.0.0.2");
  expectConnections(1);
  const auto first = client(get("/later"), "127.0.0.2"), second = client(get("/later"), "127.0.0.2");
  echo_.await(2);
  const auto third = client(get("/later"), "127.0.0.2");
  EXPECT_EQ(silent->rest(), "");
  echo_.await(3);
  EXPECT_EQ(client(get("/"), "127.0.0.2")->rest(), "") << "all of them are being served";
  expectSoon(Ending::address, 2);
  EXPECT_THAT(answerTo(get("/"), "127.0.0.3"), EndsWith("GET / "));

  // A proxy's own connections are not counted; the address that it forwards for is, while its request is served.
  RawClient one(port_, get("/a", "X-Forwarded-For: 127.0.0.2\r\n"), "127.0.0.7");
  EXPECT_EQ(one.rest(), "");
  std::vector<std::unique_ptr<RawClient>> forwarded;
  for (int each = 0; each < 6; ++each) {
    forwarded.push_back(client(get("/a", "X-Forwarded-For: 192.0.2.1\r\n"), "127.0.0.7"));
    EXPECT_THAT(forwarded.back()->answer(), EndsWith("GET /a "));
  }
  EXPECT_THAT(visits(), testing::Contains("192.0.2.1 GET /a 200"));
  EXPECT_THAT(visits(), testing::Contains("127.0.0.2 GET /a 0 address"));
  echo_.answerThem();
  for (const auto* const each : {&first, &second, &third}) EXPECT_THAT((*each)->answer(), EndsWith("at last"));
}

TEST(Proxies, TellWhoTheyForwardFor) {
  Proxies proxies;
  for (const auto& each : {"10.0.0.1", "::ffff:10.0.0.2", "2001:DB8:0::1"}) EXPECT_TRUE(proxies.add(each)) << each;
  for (const auto& each : {"", "10.0.0", "proxy", "10.0.0.1:80"}) EXPECT_FALSE(proxies.add(each)) << each;
  struct Case {
    std::string peer, value, client;
  };
  for (const auto& [peer, value, client] :
       {Case{"192.0.2.9", "192.0.2.1", "192.0.2.9"}, Case{"10.0.0.1", "", "10.0.0.1"},
        Case{"10.0.0.1", "192.0.2.1", "192.0.2.1"}, Case{"10.0.0.1", "8.8.8.8, 192.0.2.1 , 10.0.0.2", "192.0.2.1"},
        Case{"10.0.0.1", "8.8.8.8, x, 10.0.0.2", "10.0.0.2"}, Case{"10.0.0.1", "10.0.0.2,10.0.0.1", "8.8.8.8"},
        Case{"10.0.0.1", "192.0.2.1:4711", "192.0.2.1"}, Case{"2001:db8::1", "[2001:DB8::2]:80", "2001:db8::2"},
        Case{"10.0.0.1", "::FFFF:192.0.2.1", "192.0.2.1"}, Case{"10.0.0.1", "[", "10.0.0.1"}})
    EXPECT_EQ(proxies.clientOf(peer, {"GET", "/", {{"X-Forwarded-For", "8.8.8.8"}, {"x-forwarded-for", value}}}),
              client)
        << peer << ' ' << value;
  const auto isSecured = [&](const std::string& peer, const std::string& scheme) {
    return proxies.isSecured(peer, {"GET", "/", {{"X-Forwarded-Proto", scheme}}});
  };
  EXPECT_TRUE(isSecured("10.0.0.1", "HTTPS"));
  EXPECT_FALSE(isSecured("10.0.0.1", "http") || isSecured("10.0.0.1", "") || isSecured("192.0.2.1", "https"));
  EXPECT_EQ(networkOf("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::");
  EXPECT_EQ(networkOf("192.0.2.1"), "192.0.2.1");
  for (const auto& [name, forwarded] : std::vector<std::pair<std::string, bool>>{
           {"forwarded", true}, {"X-Forwarded-Proto", true}, {"x-real-ip", true}, {"Via", true}, {"X-Forward", false}})
    EXPECT_EQ(isForwarded({"GET", "/", {{"Host", "h"}, {name, ""}}}), forwarded) << name;
}

TEST_F(FrontTest, BoundsTheMemoryOfAllRequestsByLettingTheLargestGo) {
  settings_.limits.memory = 4 * kMebibyte;
  start();
  const auto arrived = [&](double mebibytes) {
    expectSoon([&] { return server_->tally().memory / (kMebibyte / 10); }, static_cast<std::uint64_t>(mebibytes * 10));
  };
  std::vector<std::unique_ptr<RawClient>> announced;  // which costs nothing yet
  for (int each = 0; each < 20; ++each) announced.push_back(client(beginningOf(8 * kMebibyte, 0)));
  const auto middle = client(beginningOf(2 * kMebibyte, kMebibyte));
  arrived(1);
  const auto large = client(beginningOf(3 * kMebibyte, 3 * kMebibyte / 2));
  arrived(2.5);
  const auto small = client(beginningOf(32 * kKibibyte, 32 * kKibibyte - 1));
  auto last = client(beginningOf(2 * kMebibyte, kMebibyte));
  EXPECT_EQ(large->rest(), "");
  arrived(2);
  last.reset();
  arrived(1);
  for (const auto& [each, bytes] : {std::pair(small.get(), 1UL), std::pair(middle.get(), kMebibyte)}) {
    each->send(std::string(bytes, 'x'));
    EXPECT_THAT(each->answer(), EndsWith(" bytes"));
  }
  expectSoon(Ending::memory, 1);

  // A request that is being handled stays, so that the next one goes, unless it is small.
  const auto handled = client(post("/later", std::string(5 * kMebibyte / 2, 'x')));
  echo_.await(1);
  EXPECT_EQ(client(beginningOf(2 * kMebibyte, kMebibyte))->rest(), "");
  EXPECT_THAT(answerTo(post("/echo", std::string(60 * kKibibyte, 'x'))), EndsWith(" bytes"));
  std::vector<std::unique_ptr<RawClient>> flood;
  for (int each = 0; each < 100; ++each) flood.push_back(client(beginningOf(kMebibyte, 60 * kKibibyte)));
  expectSoon([&] { return server_->tally().accepted.load(); }, 20 + 5 + 2 + 100);
  EXPECT_THAT(answerTo(get("/")), EndsWith("GET / "));
  EXPECT_LE(server_->tally().memory, 4 * kMebibyte);
  echo_.answerThem();
  EXPECT_THAT(handled->answer(), EndsWith("at last"));
  flood.clear();
  announced.clear();
  arrived(0);
}

TEST_F(FrontTest, StopsWithAnAnswerToWhatWasReadWholeAndNoneToTheRest) {
  start();
  const auto whole = client(post("/later", "body") + get("/ahead"));
  echo_.await(1);
  const auto idle = client(get("/a"));
  idle->answer();
  const auto silent = client(""), begun = client("GET"), uploading = client(beginningOf(10, 9));
  expectSoon([&] { return server_->tally().requests.load(); }, 3);
  std::thread stopping([&] { server_->stop(); });
  for (const auto* const each : {&idle, &silent, &begun, &uploading}) EXPECT_EQ((*each)->rest(), "");
  EXPECT_THROW(client(""), std::runtime_error);
  echo_.answerThem();
  EXPECT_THAT(whole->rest(), AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("Connection: close"), EndsWith("at last")));
  stopping.join();
  EXPECT_EQ(server_->tally().connections, 0U);
}

TEST_F(FrontTest, StopsWithoutTheHandlerAndOutlivesItsAnswers) {
  settings_.limits.stop = 200ms;
  start();
  const auto never = client(get("/never")), later = client(get("/later")), unread = client(get("/large"));
  echo_.await(1);
  expectSoon([&] { return server_->tally().requests.load(); }, 3);
  server_.reset();
  for (const auto* const each : {&never, &later}) EXPECT_EQ((*each)->rest(), "");
  EXPECT_THAT(visits(), testing::Contains("127.0.0.1 GET /never 0 stopping"));
  echo_.answerThem();
}

TEST_F(FrontTest, SendsAStreamOnAsItComes) {
  start();
  const auto listening = client(get("/stream"));
  const auto stream = echo_.stream(0);
  EXPECT_THAT(listening->answer(),
              AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("Transfer-Encoding: chunked\r\nConnection: close\r\n"),
                    HasSubstr("X-Seen: yes\r\n"), Not(HasSubstr("Content-Length"))));
  for (const auto& piece : {std::string("one"), std::string(1000, 'x'), std::string("\r\n")}) {
    const auto chunk = fmt::format("{:x}\r\n{}\r\n", piece.size(), piece);
    ASSERT_TRUE(stream->put(piece));
    EXPECT_EQ(listening->next(chunk.size()), chunk);
  }
  EXPECT_TRUE(visits().empty()) << "it goes on";
  expectMemory(0);
  EXPECT_TRUE(stream->put("last"));
  stream->end();
  EXPECT_FALSE(stream->put("too late"));
  EXPECT_EQ(listening->rest(), "4\r\nlast\r\n0\r\n\r\n");
  EXPECT_THAT(client(head("HEAD /stream"))->rest(), EndsWith("\r\n\r\n"));
  EXPECT_FALSE(echo_.stream(1));
  EXPECT_THAT(visits(), ElementsAre("127.0.0.1 GET /stream 200", "127.0.0.1 HEAD /stream 200"));
}

TEST_F(FrontTest, NoticesThatTheClientOfAStreamHasLeftOrTakesNothing) {
  start();
  auto listening = client(get("/stream") + get("/never/read"));
  ASSERT_TRUE(echo_.stream(0));
  listening.reset();
  expectConnections(0);
  EXPECT_FALSE(echo_.stream(0));
  EXPECT_THAT(visits(), ElementsAre("127.0.0.1 GET /stream 200 left"));

  // What waits is bounded, and counted whole; a client that takes it in the end has lost nothing of it.
  const std::string piece(10 * kKibibyte, 'x');
  const auto fill = [&](Stream& stream) {
    std::size_t put = 0;
    for (auto last = std::chrono::steady_clock::now(); std::chrono::steady_clock::now() - last < 200ms;)
      if (stream.put(piece)) put += piece.size(), last = std::chrono::steady_clock::now();
    return put;
  };
  const auto slow = client(get("/stream"));
  const auto stream = echo_.stream(1);
  slow->answer();
  const auto put = fill(*stream);
  EXPECT_GE(put, Stream::kRoom / 2);
  EXPECT_LT(stream->room(), piece.size());
  expectMemory(Stream::kRoom);
  stream->end();
  const auto rest = slow->rest();
  EXPECT_EQ(static_cast<std::size_t>(std::count(rest.begin(), rest.end(), 'x')), put);
  EXPECT_THAT(rest, EndsWith("\r\n0\r\n\r\n"));
  expectMemory(0);

  settings_.limits.stalled = 300ms;
  start();
  const auto silent = client(get("/stream"));
  silent->answer();
  const auto stalled = client(get("/stream"));
  fill(*echo_.stream(3));
  expectSoon(Ending::overdue, 1);
  EXPECT_TRUE(echo_.stream(2)) << "nothing was there for it to take";
  EXPECT_FALSE(echo_.stream(3));
}

TEST_F(FrontTest, LimitsStreamsAndEndsThemAtOnce) {
  settings_.limits.streams = 2;
  settings_.limits.connections = 4;
  settings_.limits.ofOneAddress = 3;
  start();
  std::vector<std::unique_ptr<RawClient>> listening;
  for (std::size_t each = 0; each < 2; ++each) {
    listening.push_back(client(get("/stream"), "127.0.0.2"));
    listening.back()->answer();
  }
  const auto third = client(get("/stream"), "127.0.0.2");
  EXPECT_THAT(third->answer(), AllOf(StartsWith("HTTP/1.1 503"), HasSubstr("application/problem+json")));
  const auto later = client(get("/later"), "127.0.0.2");  // in place of the third: streams stay
  EXPECT_EQ(third->rest(), "");
  for (int each = 0; each < 10; ++each) EXPECT_THAT(answerTo(get("/a")), EndsWith("GET /a "));
  EXPECT_EQ(server_->tally().phases[static_cast<std::size_t>(Phase::streaming)], 2U);
  EXPECT_TRUE(echo_.stream(0) && echo_.stream(1) && !echo_.stream(2));
  echo_.await(1);
  std::thread stopping([&] { server_->stop(); });
  for (const auto& each : listening) EXPECT_EQ(each->rest(), "");
  echo_.answerThem();  // only now: streams don't wait for the others
  EXPECT_THAT(later->rest(), EndsWith("at last"));
  stopping.join();
  EXPECT_THAT(visits(), testing::Contains("127.0.0.2 GET /stream 200 stopping"));
}

TEST_F(FrontTest, KeepsDeadlinesWhereMemoryLacked) {
  settings_.limits.body = 100ms;
  settings_.log = [lacks = true](const Visit&) mutable {
    if (std::exchange(lacks, false)) throw std::bad_alloc();
  };
  start();
  EXPECT_EQ(client(beginningOf(10, 9))->rest(), "");
  EXPECT_THAT(answerTo(get("/a")), StartsWith("HTTP/1.1 200"));
}

TEST_F(FrontTest, ServesOnWithoutDescriptors) {
  start();
  const auto silent = client("");
  const auto asking = client(get("/later"));
  echo_.await(1);
  RawClient next, last;
  const int lowest = ::dup(0);
  ::close(lowest);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{static_cast<rlim_t>(lowest), before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  next.connect(port_, get("/later"));
  echo_.await(2);
  EXPECT_EQ(silent->rest(), "") << "it makes room";
  last.connect(port_, get("/last"));  // waits: the others are being served
  echo_.answerThem();
  const std::vector<std::string> answers = {asking->answer(), next.answer(), last.answer()};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);  // first: a sanitizer's look at a matcher takes one, too
  EXPECT_THAT(answers, ElementsAre(EndsWith("at last"), EndsWith("at last"), EndsWith("GET /last ")));
}

TEST_F(FrontTest, SpeaksTlsAndTakesANewCertificateForNewConnections) {
  const TemporaryFolder folder;
  const auto old = folder.file("old.pem"), renewed = folder.file("new.pem"), missing = folder.file("missing.pem");
  for (const auto& each : {old, renewed}) writeCertificate(each, "IP:127.0.0.1");
  std::string problem;
  EXPECT_FALSE(makeTlsContext(old, missing, problem));
  EXPECT_THAT(problem, HasSubstr(missing));
  EXPECT_FALSE(makeTlsContext(old, renewed, problem)) << "the key of another";
  settings_.tls = makeTlsContext(old, old, problem);
  settings_.limits.memory = 16 * kMebibyte;
  start();
  const auto silent = client(""), plain = client(get("/")), hello = client("\x16\x03\x01");
  const auto trusting = [&](const std::string& certificate) {
    auto client = std::make_unique<httplib::Client>(fmt::format("https://127.0.0.1:{}", port_));
    client->set_ca_cert_path(certificate);
    client->set_keep_alive(true);
    return client;
  };
  const auto status = [](httplib::Client& client, std::size_t size) {
    const auto answer = client.Post("/echo", std::string(size, 'x'), "text/plain");
    return answer && answer->body == fmt::format("POST /echo {} bytes", size) ? answer->status : 0;
  };
  const auto early = trusting(old), wary = trusting(old), late = trusting(renewed);
  EXPECT_EQ(status(*early, 7 * kMebibyte), 200);
  EXPECT_EQ(status(*late, 1000), 0);
  server_->renewTls(makeTlsContext(renewed, renewed, problem));
  EXPECT_EQ(status(*late, 1000), 200);
  EXPECT_EQ(status(*wary, 1000), 0);
  EXPECT_EQ(status(*early, 1000), 200);
  EXPECT_EQ(plain->rest().find("HTTP"), std::string::npos);

  std::string streamed;
  const std::string piece(100 * kKibibyte, 'x');
  std::thread source([&] {
    const auto stream = echo_.stream(0);
    for (int each = 0; each < 30; ++each)
      while (!stream->put(piece)) std::this_thread::yield();
    stream->end();
    echo_.stream(1)->put("x");
  });
  const auto answer = late->Get("/stream", [&](const char* bytes, std::size_t size) {
    streamed.append(bytes, size);
    return true;
  });
  EXPECT_TRUE(answer && streamed == std::string(30 * piece.size(), 'x'));
  EXPECT_FALSE(late->Get("/stream", [](const char*, std::size_t) { return false; })) << "it leaves";
  source.join();
  expectSoon([&] { return echo_.stream(1) ? 1U : 0U; }, 0);
  std::vector<std::unique_ptr<RawClient>> halfway;  // each takes some memory
  for (int each = 0; each < 400; ++each)
    halfway.push_back(client("\x16\x03\x01", fmt::format("127.0.0.{}", each % 9 + 1)));
  EXPECT_EQ(halfway.front()->rest(), "");
  EXPECT_EQ(status(*late, 1000), 200);
  EXPECT_LE(server_->tally().memory, 16 * kMebibyte);
  server_->stop();
  for (const auto* const each : {&silent, &hello}) EXPECT_EQ((*each)->rest(), "");
}

}  // namespace
}  // namespace collector::front

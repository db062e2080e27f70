#include <gmock/gmock.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <future>
#include <memory>
#include <thread>

#include "platform/Defaults.h"
#include "support/LoopbackServer.h"

using namespace zorvane;

namespace {

using testing::HasSubstr;
using Headers = LoopbackServer::Headers;

constexpr auto kLimit = std::chrono::seconds(20);

struct Outcome {
  std::optional<std::string> body;
  std::optional<ZVURLResponse> response;
  std::optional<ZVURLError> error;

  long status() const { return response ? response->statusCode : 0; }
  int code() const { return error ? error->code : 0; }
  std::string text() const { return error ? error->localizedDescription : ""; }
};

// One request and its outcome. A completion that came twice would fail in the promise.
class Exchange {
 public:
  Exchange(const std::shared_ptr<ZVURLSession>& session, ZVURLRequest request) {
    task = session->dataTask(std::move(request), [given = given_](auto body, auto response, auto error) {
      given->set_value({std::move(body), response, std::move(error)});
      throw 1;  // a completion's own trouble
    });
  }
  Outcome outcome() {
    auto future = given_->get_future();
    if (future.wait_for(kLimit) == std::future_status::ready) return future.get();
    ADD_FAILURE() << "the completion did not run";
    return {};
  }
  std::shared_ptr<ZVURLDataTask> task;

 private:
  std::shared_ptr<std::promise<Outcome>> given_ = std::make_shared<std::promise<Outcome>>();
};

Outcome perform(const std::shared_ptr<ZVURLSession>& session, ZVURLRequest request) {
  Exchange exchange(session, std::move(request));
  exchange.task->resume();
  exchange.task->resume();  // one too many changes nothing
  return exchange.outcome();
}

Outcome get(const std::shared_ptr<ZVURLSession>& session, const std::string& url) {
  return perform(session, {url, "GET", {}, {}});
}

ZVURLRequest post(const std::string& url, std::string body, Headers headers = {}) {
  return {url, "POST", std::move(headers), std::move(body)};
}

// As long as it lives, the process gets no new descriptor and can't wait for those that it has.
class FewDescriptors {
 public:
  FewDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none{0, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  rlimit before_{};
};

[[maybe_unused]] double processorSecondsInASecond() {
  const std::clock_t before = std::clock();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  return static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
}

// A server on 127.0.0.1 that answers its first request and keeps the connection; every later request is read, and its
// connection closed without an answer. All have the same body.
class ClosingServer {
 public:
  explicit ClosingServer(const std::string& body) : end_("\r\n\r\n" + body) {
    const sockaddr_in any{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    bind(listening_, reinterpret_cast<const sockaddr*>(&any), sizeof any);
    listen(listening_, 8);
    thread_ = std::thread([this] { serve(); });
  }
  ~ClosingServer() {
    shutdown(listening_, SHUT_RDWR);
    thread_.join();
    close(listening_);
  }
  ClosingServer(const ClosingServer&) = delete;
  ClosingServer& operator=(const ClosingServer&) = delete;

  std::string url() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size);
    return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
  }
  int requests() const { return requests_; }

 private:
  void serve() {
    for (int connection = 0; (connection = accept(listening_, nullptr, nullptr)) >= 0; close(connection))
      while (takesRequest(connection) && ++requests_ == 1)
        send(connection, kAnswer.data(), kAnswer.size(), MSG_NOSIGNAL);
  }
  [[nodiscard]] bool takesRequest(int connection) const {
    std::string request;
    for (char byte = 0; !request.ends_with(end_); request += byte)
      if (recv(connection, &byte, 1, 0) != 1) return false;
    return true;
  }

  static constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n[]";
  const std::string end_;
  const int listening_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::atomic<int> requests_{0};
  std::thread thread_;
};

class CurlURLSession : public testing::Test {
 protected:
  LoopbackServer server;
  std::shared_ptr<ZVURLSession> session = makeCurlURLSession({});
};

}  // namespace

TEST_F(CurlURLSession, SendsTheHeadersThatWereAskedForAndWhatHttpNeeds) {
  const std::string host = "127.0.0.1:" + std::to_string(server.port());
  const std::string binary("\x1f\x8b\0\r\nx", 6);
  const auto sends = [&](const ZVURLRequest& request, Headers expected) {
    expected.emplace_back("Host", host);
    EXPECT_EQ(perform(session, request).status(), 200) << request.url;
    const auto sent = server.requests().back();
    EXPECT_EQ(sent.method + server.url(sent.target), request.method + request.url);
    EXPECT_THAT(sent.headers, testing::UnorderedElementsAreArray(expected)) << request.url;
    EXPECT_TRUE(sent.body == request.body) << request.url;
  };
  const Headers given{{"Content-Type", "application/json"}, {"Content-Encoding", "gzip"}};
  sends(post(server.url("/a?b=c&d=%20"), binary, given), {given[0], given[1], {"Content-Length", "6"}});
  sends(post(server.url("/large"), std::string(2'000'000, 'x')), {{"Content-Length", "2000000"}});
  sends({server.url("/get"), "GET", {{"accept", "text/plain"}}, {}}, {{"accept", "text/plain"}});
}

TEST_F(CurlURLSession, HandsOverEveryAnswerThatIsWhole) {
  const std::string limit(std::size_t{4} << 20, 'x');
  server.answer("/none", {204, ""});
  const Outcome none = perform(session, post(server.url("/none"), "[]"));
  EXPECT_EQ(none.status(), 204);
  EXPECT_EQ(none.body, "") << "empty, not absent";
  server.answer("/limit", {200, limit});
  server.answer("/more", {200, limit + 'x'});
  EXPECT_TRUE(get(session, server.url("/limit")).body == limit);
  const Outcome more = get(session, server.url("/more"));
  EXPECT_EQ(more.status(), 200);
  EXPECT_TRUE(more.body == limit) << "the beginning, and an error says that there is more";
  EXPECT_EQ(more.code(), ZVURLError::kDataLengthExceedsMaximum);
}

TEST(CurlURLSessionPost, IsMadeOnceWhereAKeptConnectionClosesWithoutAnAnswer) {
  const auto session = makeCurlURLSession({});
  for (const char* const body : {"[]", ""}) {
    const ClosingServer server(body);
    EXPECT_EQ(perform(session, post(server.url(), body)).status(), 200);
    const Outcome unanswered = perform(session, post(server.url(), body));
    EXPECT_TRUE(!unanswered.body && !unanswered.response && unanswered.code() == ZVURLError::kOther);
    EXPECT_EQ(unanswered.text(), "The connection closed without an answer");
    EXPECT_EQ(server.requests(), 2) << body;
  }
}

TEST_F(CurlURLSession, GoesNowhereButWhereItWasSent) {
  setenv("http_proxy", "http://127.0.0.1:9", 1);
  const LoopbackServer elsewhere;
  server.answer("/moved", {302, "moved", "text/plain", {{"Location", elsewhere.url("/there")}}});
  const Outcome outcome = perform(session, post(server.url("/moved"), "signed"));
  EXPECT_EQ(outcome.body, "moved");
  EXPECT_TRUE(elsewhere.requests().empty());
  EXPECT_EQ(get(session, "file:///etc/hostname").code(), ZVURLError::kOther);
}

TEST_F(CurlURLSession, RefusesWhatItCannotSend) {
  const std::string url = server.url("/");
  for (const ZVURLRequest& request :
       {post("", ""), ZVURLRequest{url, "DELETE", {}, {}}, post(url, "", {{"Authorization", "abc\r\nX-Smuggled: 1"}}),
        post(url, "", {{"X-Name\n", "value"}})}) {
    const Outcome outcome = perform(session, request);
    EXPECT_TRUE(!outcome.body && !outcome.response && outcome.code() == ZVURLError::kOther);
    EXPECT_FALSE(outcome.text().empty());
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(CurlURLSession, ReportsAConnectionThatFailsOrBreaks) {
  const std::string gone = LoopbackServer().url("/");  // nobody listens there any more
  const Outcome refused = get(session, gone);
  EXPECT_TRUE(!refused.body && !refused.response && refused.code() == ZVURLError::kOther);
  EXPECT_THAT(refused.text(), HasSubstr("connect"));

  server.tear();
  const Outcome torn = perform(session, post(server.url("/v2"), "[]"));
  EXPECT_FALSE(torn.body) << "half an answer is none";
  EXPECT_EQ(torn.status(), 200) << "the status had come";
  EXPECT_EQ(torn.code(), ZVURLError::kOther);
}

TEST_F(CurlURLSession, CancelsAtAnyTimeAndCompletesOnce) {
  server.hang();
  Exchange hanging(session, post(server.url("/v2"), "[]"));
  hanging.task->resume();
  ASSERT_TRUE(server.waitForRequests(1));
  hanging.task->cancel();
  hanging.task->cancel();
  Exchange early(session, post(server.url("/never"), "[]"));
  early.task->cancel();
  early.task->resume();
  for (Exchange* const exchange : {&hanging, &early}) {
    const Outcome outcome = exchange->outcome();
    EXPECT_TRUE(!outcome.body && !outcome.response);
    EXPECT_EQ(outcome.code(), ZVURLError::kCancelled);
  }
  server.resume();
  Exchange done(session, post(server.url("/v2"), "[]"));
  done.task->resume();
  EXPECT_EQ(done.outcome().status(), 200);
  done.task->cancel();
  EXPECT_EQ(get(session, server.url("/after")).status(), 200) << "by now a second completion would have run";
  EXPECT_TRUE(server.requests("/never").empty());
}

// The sanitizer of undefined behaviour looks at objects through a pipe, for which it needs descriptors itself.
#if !defined(__SANITIZE_ADDRESS__)
// Without descriptors libcurl can neither be woken nor wait for a connection.
TEST_F(CurlURLSession, RecoversOnceThereAreDescriptorsAndRestsUntilThen) {
  server.hang();
  Exchange hanging(session, post(server.url("/v2"), "[]"));
  hanging.task->resume();
  ASSERT_TRUE(server.waitForRequests(1));
  const auto unused = makeCurlURLSession({});
  const std::string byName = "http://localhost:" + std::to_string(server.port()) + "/";
  {
    const FewDescriptors none;
    for (const auto& each : {session, unused})
      for (const std::string& url : {server.url("/"), byName}) EXPECT_EQ(get(each, url).code(), ZVURLError::kOther);
    EXPECT_LT(processorSecondsInASecond(), 0.5);
    hanging.task->cancel();
    EXPECT_FALSE(hanging.outcome().body);
  }
  server.resume();
  for (const auto& each : {session, unused}) EXPECT_EQ(get(each, server.url("/")).status(), 200);
}
#endif

TEST(CurlURLSessionTls, TrustsOnlyTheGivenAuthorityForTheRightName) {
  using Security = LoopbackServer::Security;
  const LoopbackServer server(Security::tls);
  const LoopbackServer stranger(Security::tls);
  const LoopbackServer misnamed(Security::tls, "DNS:elsewhere.example");
  EXPECT_EQ(get(makeCurlURLSession({server.caFile()}), server.url("/")).status(), 200);
  for (const std::string& caFile : {stranger.caFile(), std::string(), std::string("/nonexistent.pem")})
    EXPECT_THAT(get(makeCurlURLSession({caFile}), server.url("/")).text(), HasSubstr("certificate")) << caFile;
  EXPECT_THAT(get(makeCurlURLSession({misnamed.caFile()}), misnamed.url("/")).text(), HasSubstr("name"));
  EXPECT_EQ(server.requests().size() + misnamed.requests().size(), 1u);
}

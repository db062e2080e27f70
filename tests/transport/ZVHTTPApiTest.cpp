#include "transport/ZVHTTPApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "state/ZVState.h"
#include "support/LoopbackServer.h"
#include "support/TestPlatform.h"
#include "transport/ZVHelpers.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::Key;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Kind = ZVHTTPApiResponse;

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');
const std::string kDebug = "Debug/ZV/Analytics: ";
const ZVValue kEvents = ZVValue::Array{ZVMap{{"category", "design"}, {"event_id", "a/b"}}};

// One collector, and the client that talks to it as the one of the process.
struct Collector {
  Collector() {
    ZVState::setKeysWithGameKey(kKey, kSecret);
    ZVHTTPApi::setSharedInstance(std::make_unique<ZVHTTPApi>());
  }
  ZVHTTPApi& api() { return ZVHTTPApi::sharedInstance(); }

  LoopbackServer server;
  TestPlatform platform = TestPlatform::make(server);
  LogCapture log;
};

std::string plainBody(const LoopbackServer::Request& request) {
  return request.header("Content-Encoding") == "gzip" ? ZVHelpers::gzipDeflateWithData(request.body).value_or("torn")
                                                      : request.body;
}

// The one SDK error event that was sent.
ZVMap sdkErrorEvent(const LoopbackServer::Request& request) {
  const auto body = ZVHelpers::dictionaryWithJsonString(request.body);
  return *body->ifArray()->at(0).ifMap();
}

TEST(InitCall, IsCompressedAndSignedAsSent) {
  Collector collector;
  collector.api().useGzip = false;  // concerns events alone
  EXPECT_EQ(collector.api().requestInitReturningDict("hash").kind, Kind::Ok);
  ASSERT_THAT(collector.server.requests(), SizeIs(1));
  const auto request = collector.server.requests()[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, "/remote_configs/v1/init?game_key=" + kKey + "&interval_seconds=0&configs_hash=hash");
  EXPECT_EQ(request.header("Content-Type"), "application/json");
  EXPECT_EQ(request.header("Content-Encoding"), "gzip");
  EXPECT_EQ(request.header("Authorization"), ZVHelpers::hmacWithKey(kSecret, request.body));
  EXPECT_EQ(plainBody(request), ZVHelpers::jsonStringWithObject(ZVState::getInitAnnotations()));
  const auto lines = collector.log.lines();
  EXPECT_THAT(lines, testing::Contains(kDebug + "Gzip stats. Size: " + std::to_string(plainBody(request).size()) +
                                       ", Compressed: " + std::to_string(request.body.size()) +
                                       ", Content: " + plainBody(request)));
}

TEST(InitCall, SortsEveryAnswer) {
  const ZVMap all{{"server_ts", 1700000000},
                  {"configs", ZVValue::Array{ZVMap{{"key", "speed"}}}},
                  {"configs_hash", "h"},
                  {"ab_id", "1"},
                  {"ab_variant_id", "2"}};
  ZVMap more = all;
  more.set("other", true);
  const auto text = [](const ZVMap& map) { return *ZVHelpers::jsonStringWithObject(map); };
  const auto wrongType = [](const std::string& field) {
    return "Warning/ZV/Analytics: validateInitRequestResponse failed - invalid type in '" + field + "' field.";
  };
  struct Case {
    int status;
    std::string body;
    Kind kind;
    std::optional<ZVValue> content;
    std::string line;  // among those logged
    bool reported = false;
  };
  const std::string failed = kDebug + "Failed Init Call. URL: ";
  const std::string undecoded = kDebug + "Failed Init Call. Json decoding failed";
  for (const auto& [status, body, kind, content, line, reported] : {
           Case{200, text(more), Kind::Ok, ZVMap{{"server_ts", 1700000000}},
                kDebug + "init request content: {server_ts"},
           Case{200, R"({"configs":5})", Kind::Ok, ZVMap{}, kDebug},
           Case{200, "{}", Kind::Ok, ZVMap{}, kDebug + "init request content: {}"},
           Case{200, R"({"server_ts":"1"})", Kind::BadResponse, std::nullopt, wrongType("server_ts")},
           Case{200, R"({"server_ts":null})", Kind::BadResponse, std::nullopt, wrongType("server_ts")},
           Case{200, "[]", Kind::BadResponse, std::nullopt,
                "Warning/ZV/Analytics: validateInitRequestResponse failed - no response dictionary."},
           Case{200, "garbage", Kind::JsonDecodeFailed, std::nullopt, undecoded, true},
           Case{200, "", Kind::JsonDecodeFailed, std::nullopt, undecoded, true},
           Case{201, text(more), Kind::Created, all, kDebug},
           Case{201, "{}", Kind::Created, ZVMap{}, kDebug},
           Case{201, R"({"configs":{}})", Kind::BadResponse, std::nullopt, wrongType("configs")},
           Case{201, R"({"configs_hash":1,"ab_id":1})", Kind::BadResponse, std::nullopt, wrongType("configs_hash")},
           Case{201, R"({"ab_id":1})", Kind::BadResponse, std::nullopt, wrongType("ab_id")},
           Case{201, R"({"ab_variant_id":[]})", Kind::BadResponse, std::nullopt, wrongType("ab_variant_id")},
           Case{400, R"({"why":"x"})", Kind::BadRequest, ZVMap{{"why", "x"}},
                kDebug + "Failed Init Call. Bad request. Response: {why = x}"},
           Case{400, "garbage \xFF", Kind::JsonDecodeFailed, std::nullopt, undecoded, true},
           Case{401, "{}", Kind::Unauthorized, std::nullopt, kDebug + "Init request. 401 - Unauthorized."},
           Case{500, "{}", Kind::InternalServerError, std::nullopt,
                kDebug + "Init request. 500 - Internal Server Error."},
           Case{418, "{}", Kind::UnknownResponseCode, std::nullopt, failed},
       }) {
    Collector collector;
    collector.server.answer(LoopbackServer::kInit, {status, body});
    const auto answer = collector.api().requestInitReturningDict("");
    const std::string which = std::to_string(status) + " " + body;
    EXPECT_EQ(answer.kind, kind) << which;
    EXPECT_TRUE(answer.content == content) << which;
    EXPECT_TRUE(collector.log.contains(line)) << which << ": " << line;
    ASSERT_EQ(collector.server.waitForRequests(reported ? 2 : 1), true) << which;
    EXPECT_THAT(collector.server.requests(LoopbackServer::kEvents), SizeIs(reported ? 1 : 0)) << which;
  }
}

TEST(InitCall, ReportsWhatItCouldNotDecode) {
  Collector collector;
  collector.server.answer(LoopbackServer::kInit, {200, "gar\xFFnage"});
  collector.api().requestInitReturningDict("");
  ASSERT_TRUE(collector.server.waitForRequests(2));
  const auto request = collector.server.requests(LoopbackServer::kEvents).at(0);
  EXPECT_EQ(request.target, "/v2/" + kKey + "/events");
  // No more than HTTP itself needs: neither the content's type nor its encoding.
  EXPECT_THAT(request.headers, UnorderedElementsAre(Key("Authorization"), Key("Host"), Key("Content-Length")));
  EXPECT_EQ(request.header("Authorization"), ZVHelpers::hmacWithKey(kSecret, request.body));
  const ZVMap event = sdkErrorEvent(request);
  EXPECT_EQ(*event.find("error_category"), "http");
  EXPECT_EQ(*event.find("error_area"), "init_http");
  EXPECT_EQ(*event.find("error_action"), "fail_http_json_decode");
  EXPECT_EQ(*event.find("reason"), "gar\xEF\xBF\xBDnage");
}

TEST(EventsCall, SortsEveryAnswer) {
  struct Case {
    int status;
    std::string body;
    Kind kind;
    std::optional<ZVValue> content;
    bool reported;
  };
  const std::string failed = kDebug + "Failed Events Call. URL: ";
  for (const auto& [status, body, kind, content, reported] : {
           Case{200, "[]", Kind::Ok, ZVValue::Array{}, false},
           Case{200, "{\"a\":1}", Kind::Ok, ZVMap{{"a", 1}}, false},
           Case{200, "", Kind::JsonDecodeFailed, std::nullopt, true},
           Case{400, R"([{"errors":[]}])", Kind::BadRequest, ZVValue::Array{ZVMap{{"errors", ZVValue::Array{}}}},
                false},
           Case{400, "no", Kind::JsonDecodeFailed, std::nullopt, true},
           Case{201, "[]", Kind::Created, std::nullopt, false},
           Case{401, "[]", Kind::Unauthorized, std::nullopt, false},
           Case{413, "[]", Kind::UnknownResponseCode, std::nullopt, false},
       }) {
    Collector collector;
    collector.server.answer(LoopbackServer::kEvents, {status, body});
    const auto answer = collector.api().sendEventsInArray(kEvents);
    EXPECT_EQ(answer.kind, kind) << status << body;
    EXPECT_TRUE(answer.content == content) << status << body;
    ASSERT_TRUE(collector.server.waitForRequests(reported ? 2 : 1)) << status << body;
    const auto requests = collector.server.requests();
    EXPECT_THAT(requests, SizeIs(reported ? 2 : 1)) << status << body;
    if (reported) {
      EXPECT_EQ(*sdkErrorEvent(requests.back()).find("error_area"), "events_http");
    }
    const bool passed = kind == Kind::Ok || kind == Kind::BadRequest || kind == Kind::JsonDecodeFailed;
    EXPECT_EQ(collector.log.contains(failed + collector.server.url("/v2/" + kKey + "/events") + ", Authorization: " +
                                     *requests[0].header("Authorization") + ", JSONString: " + plainBody(requests[0])),
              !passed)
        << status << body;
  }
}

TEST(EventsCall, SignsTheBytesThatItSends) {
  for (const bool gzip : {true, false}) {
    Collector collector;
    collector.api().useGzip = gzip;
    EXPECT_EQ(collector.api().sendEventsInArray(kEvents).kind, Kind::Ok);
    const auto request = collector.server.requests().at(0);
    EXPECT_EQ(request.header("Content-Encoding"), gzip ? std::optional("gzip"s) : std::nullopt);
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("Authorization"), ZVHelpers::hmacWithKey(kSecret, request.body));
    EXPECT_EQ(plainBody(request), R"([{"category":"design","event_id":"a\/b"}])");
  }
}

TEST(EventsCall, GoesOnWithoutEventsButNotWithoutJson) {
  Collector collector;
  EXPECT_EQ(collector.api().sendEventsInArray(ZVValue::Array{}).kind, Kind::Ok);
  EXPECT_EQ(plainBody(collector.server.requests().at(0)), "[]");
  EXPECT_TRUE(collector.log.contains(kDebug + "sendEventsInArray called with missing eventArray"));
  for (const ZVValue& unserialisable : {ZVValue(), ZVValue("text"), ZVValue(ZVValue::Array{"\xFF"})})
    EXPECT_EQ(collector.api().sendEventsInArray(unserialisable).kind, Kind::JsonEncodeFailed);
  EXPECT_EQ(collector.log.count(kDebug + "sendEventsInArray called with missing eventArray"), 3U);
  EXPECT_EQ(collector.log.count(kDebug + "sendEventsInArray JSON encoding failed of eventArray"), 3U);
  EXPECT_THAT(collector.server.requests(), SizeIs(1));
}

TEST(EventsCall, MovesWithTheBaseUrlWhileInitStays) {
  Collector collector;
  collector.api().setBaseUrl(collector.server.url("/elsewhere"));
  collector.api().sendEventsInArray(kEvents);
  collector.api().requestInitReturningDict("");
  collector.api().sendSdkErrorEventWithFormData(kEvents, "other", "secret");
  ASSERT_TRUE(collector.server.waitForRequests(3));
  EXPECT_THAT(collector.server.requests("/elsewhere/" + kKey + "/events"), SizeIs(1));
  EXPECT_THAT(collector.server.requests(LoopbackServer::kInit), SizeIs(1));
  EXPECT_THAT(collector.server.requests("/elsewhere/other/events"), SizeIs(1));
}

TEST(AnyCall, CountsAMissingOrTornAnswerAsNoResponse) {
  Collector collector;
  collector.server.tear();
  EXPECT_EQ(collector.api().sendEventsInArray(kEvents).kind, Kind::NoResponse);
  EXPECT_EQ(collector.api().requestInitReturningDict("").kind, Kind::NoResponse);
  EXPECT_TRUE(collector.log.contains(kDebug + "Events request. failed. Might be no connection. Description: "));
  const TestPlatform nobody = TestPlatform::make();
  ZVHTTPApi alone;
  EXPECT_EQ(alone.sendEventsInArray(kEvents).kind, Kind::NoResponse);
  EXPECT_EQ(alone.requestInitReturningDict("").kind, Kind::NoResponse);
  EXPECT_TRUE(collector.log.contains(", Status code: 0"));
}

// A network whose requests never end: the process begins to leave as soon as one is under way.
struct SilentSession final : ZVURLSession, ZVURLDataTask, std::enable_shared_from_this<SilentSession> {
  std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest, Completion) override { return shared_from_this(); }
  void resume() override {
    ++resumed;
    ZVHTTPApi::sharedInstance().giveUpRequests();
  }
  void cancel() override { ++cancelled; }
  int resumed = 0;
  int cancelled = 0;
};

TEST(AnyCall, IsGivenUpWhenTheProcessLeaves) {
  const auto session = std::make_shared<SilentSession>();
  const TestPlatform platform =
      TestPlatform::make([&](ZVPlatform& changed) { changed.makeURLSession = [session] { return session; }; });
  ZVHTTPApi::setSharedInstance(std::make_unique<ZVHTTPApi>());
  EXPECT_EQ(ZVHTTPApi::sharedInstance().sendEventsInArray(kEvents).kind, Kind::NoResponse);
  EXPECT_EQ(session->cancelled, 1);
  EXPECT_EQ(ZVHTTPApi::sharedInstance().requestInitReturningDict("").kind, Kind::NoResponse);
  EXPECT_EQ(session->resumed, 1) << "later requests are not made";
}

TEST(AnyCall, SortsARefusedAuthenticationByItsError) {
  const ZVURLError refused{ZVURLError::kUserCancelledAuthentication, "refused"};
  struct Case {
    ZVHTTPApi::RawAnswer answer;
    Kind kind;
  };
  for (const auto& [answer, kind] : {
           Case{{"", std::nullopt, refused}, Kind::Unauthorized},
           Case{{std::nullopt, std::nullopt, refused}, Kind::NoResponse},
           Case{{std::nullopt, ZVURLResponse{200, true}, std::nullopt}, Kind::NoResponse},
           Case{{"", ZVURLResponse{200, true}, refused}, Kind::Ok},
           Case{{"", std::nullopt, ZVURLError{ZVURLError::kCancelled, ""}}, Kind::UnknownResponseCode},
       })
    EXPECT_EQ(ZVHTTPApi::processRequestResponse(answer, "Init"), kind);
}

TEST(SdkErrorCall, SendsAnEmptySignedBodyForWhatItCannotWrite) {
  Collector collector;
  std::atomic<int> successes{0};
  std::atomic<int> failures{0};
  const auto success = [&](const std::string&, const ZVURLResponse&) { ++successes; };
  const auto failure = [&](const auto&, const auto& response) { failures += response ? 1 : 100; };
  collector.server.answer(LoopbackServer::kEvents, {200, "[]"});
  collector.server.answer(LoopbackServer::kEvents, {500, "[]"});
  collector.api().sendSdkErrorEventWithFormData(ZVValue::Array{"\xFF"}, kKey, "other secret", success, failure);
  while (successes + failures < 1) std::this_thread::yield();
  collector.api().sendSdkErrorEventWithFormData(kEvents, kKey, kSecret, success, failure);
  while (successes + failures < 2) std::this_thread::yield();
  EXPECT_EQ(successes, 1);
  EXPECT_EQ(failures, 1);
  const auto requests = collector.server.requests();
  EXPECT_EQ(requests.at(0).body, "");
  EXPECT_EQ(requests.at(0).header("Authorization"), ZVHelpers::hmacWithKey("other secret", ""));
  EXPECT_EQ(requests.at(1).body, ZVHelpers::jsonStringWithObject(kEvents));
}

TEST(AppStoreLookup, AsksAndHandsTheAnswerOn) {
  struct Case {
    int status;
    std::string body;
    Kind kind;
    std::optional<ZVValue> content;
    std::string line;
  };
  for (const auto& [status, body, kind, content, line] : {
           Case{200, "{\"n\":1}", Kind::Ok, ZVMap{{"n", 1}}, "Calling itunes search.' URL: http://"},
           Case{200, "x", Kind::JsonDecodeFailed, std::nullopt, "Failed Itunes Call. Json decoding failed"},
           Case{400, "[]", Kind::BadRequest, ZVValue::Array{}, "Failed Itunes Call. Bad request. Response: ()"},
           Case{201, "{}", Kind::Created, std::nullopt, "Failed Itunes Call. URL: http://"},
           Case{500, "{}", Kind::InternalServerError, std::nullopt,
                "Itunes Seearch request. 500 - Internal Server Error."},
       }) {
    LoopbackServer server;
    const TestPlatform platform = TestPlatform::make(
        server, [&](ZVPlatform& changed) { changed.appStoreHostname = "127.0.0.1:" + std::to_string(server.port()); });
    LogCapture log;
    server.answer("/lookup", {status, body});
    const auto answer = ZVHTTPApi().requestItunesInfoReturningDict("com.example.game");
    EXPECT_EQ(answer.kind, kind) << status;
    EXPECT_TRUE(answer.content == content) << status;
    EXPECT_TRUE(log.contains(kDebug + line)) << line;
    const auto request = server.requests().at(0);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/lookup?bundleId=com.example.game");
    EXPECT_THAT(request.headers, ElementsAre(Key("Host")));
    EXPECT_THAT(server.requests(), SizeIs(1)) << "nothing is reported";
  }
}

TEST(Endpoint, IsComposedOnce) {
  const TestPlatform platform = TestPlatform::make([](ZVPlatform& changed) {
    changed.collector = {"http", "collector.example", "8443"};
  });
  ZVHTTPApi api;
  EXPECT_EQ(api.getApiHostname(), "collector.example:8443");
  EXPECT_EQ(api.getBaseUrl(), "http://collector.example:8443/v2");
  EXPECT_EQ(api.remoteConfigsBaseUrl, "http://collector.example:8443/remote_configs/v1");
  api.hostname = "other";
  EXPECT_EQ(api.getBaseUrl(), "http://collector.example:8443/v2");
  ZVState::setKeysWithGameKey(kKey, kSecret);
  EXPECT_EQ(ZVHTTPApi::makeRequestAuthSha256Hash("body"), ZVHelpers::sha256HashForData("body" + kSecret));
}

}  // namespace

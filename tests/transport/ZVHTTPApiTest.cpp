#include "transport/ZVHTTPApi.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <chrono>
#include <future>
#include <thread>

#include "codecs/digests.h"
#include "codecs/gzip.h"
#include "codecs/json.h"
#include "events/ZVEvents.h"
#include "runtime/SdkErrorReporter.h"
#include "state/ZVState.h"
#include "support/LoopbackServer.h"
#include "support/TestPlatform.h"
#include "support/WakeUps.h"

using namespace zorvane;

namespace {

using testing::SizeIs;
using namespace std::string_literals;
using Kind = ZVHTTPApiResponse;

const std::string kKey(32, 'k');
const std::string kSecret(40, 's');
const std::string kDebug = "Debug/ZV/Analytics: ";
const ZVValue kEvents = ZVValue::Array{ZVMap{{"category", "design"}, {"event_id", "a/b"}}};

// One collector, and the client that talks to it as the one of the process.
class HTTPApi : public testing::Test {
 protected:
  HTTPApi() {
    ZVState::setKeysWithGameKey(kKey, kSecret);
    setSdkErrorReporter(ZVEvents::reportSdkErrorAsEvent);
    ZVHTTPApi::setSharedInstance(std::make_unique<ZVHTTPApi>());
  }
  static ZVHTTPApi& api() { return ZVHTTPApi::sharedInstance(); }
  static ZVHTTPApi::Answer requestInit(std::string_view configsHash) {
    return api().requestInitReturningDict({kKey, kSecret}, configsHash, &ZVState::getInitAnnotations);
  }
  static ZVHTTPApi::Answer sendEvents(const ZVValue& events) {
    return api().sendEventsInArray({kKey, kSecret}, writeJson(events));
  }

  LoopbackServer server;
  TestPlatform platform = TestPlatform::make(
      server, [this](ZVPlatform& changed) { changed.appStoreHostname = "127.0.0.1:" + std::to_string(server.port()); });
  LogCapture log;
};

TEST_F(HTTPApi, TakesOfAnInitAnswerWhatBelongsToItsStatus) {
  server.answer(LoopbackServer::kInit, {200, R"({"server_ts":1,"configs":5,"other":true})"});
  server.answer(LoopbackServer::kInit, {201, R"({"server_ts":1,"configs":[],"other":true})"});
  EXPECT_EQ(requestInit("").content, ZVValue(ZVMap{{"server_ts", 1}}));
  EXPECT_EQ(requestInit("").content, ZVValue(ZVMap{{"server_ts", 1}, {"configs", ZVValue::Array{}}}));
}

TEST_F(HTTPApi, RefusesAnInitAnswerThatIsTooLargeOrBecomesSo) {
  const auto hash = [](const std::string& text) { return R"({"configs_hash":")" + text + "\"}"; };
  const std::string slashes(131'062, '/');  // as it is written, with the rest, one byte less than the limit
  std::string numbers;
  for (int i = 0; i < 20'000; ++i) numbers += "1e15,";
  struct Case {
    int status;
    std::string body;
    Kind kind;
    std::size_t refused = 0;  // bytes that the warning names; 0: none
  };
  const std::string large = hash(std::string(262'144, 'x'));
  for (const auto& [status, body, kind, refused] :
       {Case{201, hash(slashes + "x"), Kind::Created}, Case{201, hash(slashes + "xx"), Kind::BadResponse, 262'145},
        Case{200, hash(slashes + "xx"), Kind::Ok}, Case{201, large, Kind::BadResponse, 262'163},
        Case{200, large, Kind::BadResponse, 262'163},
        Case{201, R"({"configs":[)" + numbers + "0]}", Kind::BadResponse, 340'015},
        // What isn't kept may be of any size.
        Case{401, large, Kind::Unauthorized}, Case{400, large, Kind::BadRequest},
        Case{500, large, Kind::InternalServerError}, Case{201, std::string(300'000, 'x'), Kind::JsonDecodeFailed}}) {
    log.clear();
    server.answerOnly(LoopbackServer::kInit, {status, body});
    EXPECT_EQ(requestInit("").kind, kind) << body.size();
    EXPECT_EQ(log.count("Warning/ZV/Analytics: The init call's answer is too large: " + std::to_string(refused) +
                        " bytes, and 262144 are allowed"),
              refused == 0 ? 0U : 1U);
    EXPECT_EQ(log.count("Warning/ZV/Analytics: The init"), refused == 0 ? 0U : 1U) << body.size();
    EXPECT_EQ(log.count("Init request. 500 - Internal Server Error."), status == 500 ? 1U : 0U);
  }
}

TEST_F(HTTPApi, SaysWhatWentWrongWhenThatChanges) {
  const std::string events = "http://127.0.0.1:" + std::to_string(server.port()) + "/v2/" + kKey + "/events";
  struct Case {
    LoopbackServer::Answer answer;
    std::string warning;  // what it ends with; "": none
  };
  for (const auto& [answer, warning] :
       {Case{{503, ""}, "it was answered, with the status 503"}, Case{{503, "{}"}, ""},
        Case{{200, "x"}, "it was answered, with the status 200, but no JSON"}, Case{{200, "[]"}, ""},
        Case{{503, ""}, "it was answered, with the status 503"}, Case{{400, "[]"}, ""}}) {
    log.clear();
    server.answerOnly(LoopbackServer::kEvents, answer);
    sendEvents(kEvents);
    EXPECT_EQ(log.count("Warning/ZV/Analytics: Could not send to " + (warning.empty() ? "" : events + ": " + warning)),
              warning.empty() ? 0U : 1U)
        << answer.status << warning;
  }
  api().setBaseUrl("http://127.0.0.1:1");
  log.clear();
  for (int i = 0; i < 2; ++i) sendEvents(kEvents);
  EXPECT_EQ(log.count("Warning/ZV/Analytics: Could not send to http://127.0.0.1:1/"), 1U);
}

// What was read of it would be a document, but not the one that was sent.
TEST_F(HTTPApi, LetsTheStatusCountOfAnAnswerThatIsCutOff) {
  const std::string body = "[]" + std::string(std::size_t{4} << 20, ' ');
  using Case = std::pair<int, Kind>;
  for (const auto& [status, kind] : {Case{200, Kind::JsonDecodeFailed}, Case{400, Kind::JsonDecodeFailed},
                                     Case{401, Kind::Unauthorized}, Case{500, Kind::InternalServerError}}) {
    for (const auto* const path : {LoopbackServer::kInit, LoopbackServer::kEvents})
      server.answerOnly(path, {status, body});
    EXPECT_EQ(requestInit("").kind, kind) << status;
    EXPECT_EQ(sendEvents(kEvents).kind, kind) << status;
  }
}

TEST_F(HTTPApi, AsksForAllOfTheConfigurationWhereTheHashCannotStandInAUrl) {
  const std::string longest(1024, 'h');
  const auto expectSent = [&](const std::string& hash, const std::string& sent) {
    EXPECT_EQ(requestInit(hash).kind, Kind::Ok) << hash;
    EXPECT_TRUE(server.requests().back().target.ends_with("&configs_hash=" + sent)) << hash;
  };
  for (const std::string& hash : {"a-Z0_9.~%2F+/="s, longest}) expectSent(hash, hash);
  for (const std::string& hash : {longest + "h", "a b"s, "a\r\nX-Other: 1"s, "a#b"s, "\xC3\xA9"s, "a\0b"s})
    expectSent(hash, "");
}

TEST_F(HTTPApi, CompressesTheInitCallAlsoWhileEventsAreSentPlain) {
  api().useGzip = false;
  server.answer(LoopbackServer::kEvents, {500, "[]"});
  EXPECT_EQ(requestInit("hash").kind, Kind::Ok);
  EXPECT_EQ(sendEvents(kEvents).kind, Kind::InternalServerError);
  const auto requests = server.requests();
  const auto init = decompress(requests.at(0).body).value_or("torn");
  EXPECT_EQ(init, writeJson(ZVState::getInitAnnotations()));
  EXPECT_TRUE(log.contains(kDebug + "Gzip stats. Size: " + std::to_string(init.size()) +
                           ", Compressed: " + std::to_string(requests[0].body.size()) + ", Content: " + init));
  const std::string json = R"([{"category":"design","event_id":"a\/b"}])";
  const auto signature = hmacSha256(kSecret, json);
  EXPECT_EQ(requests.at(1).body, json);
  EXPECT_EQ(requests[1].header("Content-Encoding"), std::nullopt);
  EXPECT_EQ(requests[1].header("Authorization"), signature);
  EXPECT_TRUE(log.contains(kDebug + "Failed Events Call. URL: " + server.url("/v2/" + kKey + "/events") +
                           ", Authorization: " + signature + ", JSONString: " + json));
}

TEST_F(HTTPApi, ReportsWhatItCouldNotDecode) {
  const auto reported = [&](const std::string& area, const std::string& reason) {
    const std::string codes = R"("error_category":"http","error_area":")" + area + R"(","error_action":)";
    EXPECT_THAT(server.requests().back().body,
                testing::EndsWith(codes + R"("fail_http_json_decode")" +
                                  (reason.empty() ? "}]" : R"(,"reason":")" + reason + "\"}]")));
  };
  const std::string accents = "\xC3\xA9\xC3\xA9";
  std::size_t requests = 0;
  using Case = std::pair<std::string, std::string>;
  for (const auto& [body, reason] : {Case{accents + "garbage", accents + "garbage"}, Case{"gar\xFFnage", ""},
                                     Case{std::string(5000, 'g') + '\xFF', ""}, Case{"", ""}}) {
    for (const auto* const path : {LoopbackServer::kInit, LoopbackServer::kEvents})
      server.answerOnly(path, {200, body});
    EXPECT_EQ(requestInit("").kind, Kind::JsonDecodeFailed);
    ASSERT_TRUE(server.waitForRequests(requests += 2));
    reported("init_http", reason);
    EXPECT_EQ(sendEvents(kEvents).kind, Kind::JsonDecodeFailed);
    ASSERT_TRUE(server.waitForRequests(requests += 2));
    reported("events_http", reason);
  }
}

TEST_F(HTTPApi, GoesOnWithoutEventsButNotWithoutJson) {
  EXPECT_EQ(sendEvents(ZVValue::Array{}).kind, Kind::Ok);
  EXPECT_EQ(sendEvents(ZVValue::Array{"\xFF"}).kind, Kind::JsonEncodeFailed);
  EXPECT_EQ(log.count(kDebug + "sendEventsInArray called with missing eventArray"), 2U);
  EXPECT_EQ(log.count(kDebug + "sendEventsInArray JSON encoding failed of eventArray"), 1U);
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(HTTPApi, SendsAnEmptySignedSdkErrorForWhatItCannotWrite) {
  const auto send = [&] {
    auto ended = std::make_shared<std::promise<std::string>>();
    api().sendSdkErrorEventWithFormData(
        ZVValue::Array{"\xFF"}, kKey, "other secret",
        [ended](const std::string& body, const ZVURLResponse&) { ended->set_value(body); },
        [ended](const auto&, const auto& response) { ended->set_value(response ? "failed" : "no answer"); });
    return ended->get_future().get();
  };
  server.answer(LoopbackServer::kEvents, {200, "[]"});
  server.answer(LoopbackServer::kEvents, {500, "[]"});
  EXPECT_EQ(send(), "[]");
  EXPECT_EQ(send(), "failed");
  EXPECT_EQ(server.requests().at(0).body, "");
  EXPECT_EQ(server.requests()[0].header("Authorization"), hmacSha256("other secret", ""));
}

TEST_F(HTTPApi, WaitsForAnAnswerWithoutLookingUntilItIsGivenUp) {
  server.hang();
  const auto send = [this] { return api().sendSynchronousRequest({server.url("/v2"), "GET", {}, {}}); };
  auto waiting = std::async(std::launch::async, [&] {
    pthread_setname_np(pthread_self(), "waits");
    return send();
  });
  ASSERT_TRUE(server.waitForRequests(1));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // what the sending itself wakes
  const long before = wakeUpsOf("waits") + wakeUpsOf("zorvane net");
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_LE(wakeUpsOf("waits") + wakeUpsOf("zorvane net") - before, 2);

  api().giveUpRequests();
  EXPECT_FALSE(waiting.get().response) << "what waits is given up";
  EXPECT_FALSE(send().response) << "and nothing is sent any more";
  EXPECT_THAT(server.requests(), SizeIs(1));
  server.resume();
  api().makeRequestsAgain();
  EXPECT_EQ(send().response.value_or(ZVURLResponse{}).statusCode, 200);
}

TEST_F(HTTPApi, AsksTheAppStoreAndTakesARefusedAuthenticationForA401) {
  server.answer("/lookup", {200, "{\"n\":1}"});
  EXPECT_EQ(api().requestItunesInfoReturningDict("com.example.game").content, ZVValue(ZVMap{{"n", 1}}));
  EXPECT_EQ(server.requests().at(0).target, "/lookup?bundleId=com.example.game");
  const ZVURLError refused{ZVURLError::kUserCancelledAuthentication, "refused"};
  EXPECT_EQ(ZVHTTPApi::processRequestResponse({"", std::nullopt, refused}, "Init"), Kind::Unauthorized);
}

}  // namespace

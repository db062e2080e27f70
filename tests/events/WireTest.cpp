// What goes over the wire, byte by byte where it matters.
#include <gmock/gmock.h>

#include <zorvane/Zorvane.h>

#include "codecs/ZVHelpers.h"
#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"
#include "values/SdkError.h"

using namespace zorvane;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;

std::vector<std::string> keysOf(const ZVMap& map) {
  std::vector<std::string> keys;
  for (const auto& entry : map) keys.push_back(entry.key);
  return keys;
}

constexpr const char* kUuid = "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}";

TEST(Wire, AnEventCarriesEveryFieldInItsOrder) {
  Game game;
  game.platform.clock->set(1'700'000'000.9);
  game.platform.device->change([](ZVDeviceFacts& device, ZVApplicationFacts&) {
    device.vendorIdentifier = "6BA7B810-9DAD-41D1-80B4-00C04FD430C8";
    device.advertisingIdentifier = "6BA7B811-9DAD-41D1-80B4-00C04FD430C8";
    device.trackingStatus = 2;
  });
  game.restart();
  game.collector.answer(LoopbackServer::kInit,
                        {201, R"({"server_ts":1700000010,"configs":[{"key":"speed","value":"fast/er","start_ts":null,)"
                              R"("end_ts":null}],"configs_hash":"h","ab_id":"a","ab_variant_id":"b"})"});
  Zorvane::configureEngineVersion("unity 2022.3.1");
  Zorvane::configureBuild("7");
  Zorvane::configureAvailableCustomDimensions01(std::vector<std::string>{"ninja"});
  Zorvane::configureAvailableCustomDimensions03(std::vector<std::string>{"free"});
  Zorvane::setCustomDimension01("ninja");
  Zorvane::setCustomDimension03("free");
  game.start();
  Zorvane::addDesignEventWithEventId("level:boss", 3.0, {{"hp", 2.5}, {"won", true}, {"path", "a/b"}});
  ZVEvents::processEventQueue(false);
  game.settle();

  const auto request = game.collector.requests(LoopbackServer::kEvents).back();
  const auto events = Game::eventsOf(request);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_THAT(keysOf(events[0]),
              ElementsAre("v", "user_id", "event_uuid", "ios_idfa", "ios_idfv", "client_ts", "sdk_version",
                          "os_version", "manufacturer", "device", "platform", "session_id", "session_num",
                          "connection_type", "engine_version", "configurations", "ab_id", "ab_variant_id",
                          "limited_ad_tracking", "build", "ios_bundle_id", "ios_app_version", "ios_app_build",
                          "ios_att", "category", "event_id", "value", "custom_01", "custom_03", "custom_fields"));
  const std::string json = *ZVHelpers::gzipDeflateWithData(request.body);
  EXPECT_THAT(json, HasSubstr(R"("client_ts":1700000010,"sdk_version":"ios 4.6.7","os_version":"ios 17.2")"));
  EXPECT_THAT(json, HasSubstr(R"("user_id":"6BA7B810-9DAD-41D1-80B4-00C04FD430C8")"));
  EXPECT_THAT(json, HasSubstr(R"("ios_idfa":"00000000-0000-0000-0000-000000000000")"));
  EXPECT_THAT(json, HasSubstr(R"("configurations":{"speed":"fast\/er"},"ab_id":"a","ab_variant_id":"b",)"
                              R"("limited_ad_tracking":true,"build":"7")"));
  EXPECT_THAT(json, HasSubstr(R"("event_id":"level:boss","value":3,"custom_01":"ninja","custom_03":"free",)"
                              R"("custom_fields":{"hp":2.5,"won":true,"path":"a\/b"})"));
  EXPECT_THAT(shown(events[0], "event_uuid"), MatchesRegex(kUuid));
  EXPECT_THAT(shown(events[0], "session_id"), MatchesRegex(kUuid));
}

TEST(Wire, RequestsAreSignedOverWhatIsSent) {
  Game game;
  game.start();
  const auto init = game.collector.requests(LoopbackServer::kInit).at(0);
  const auto events = game.collector.requests(LoopbackServer::kEvents).at(0);
  EXPECT_EQ(init.target,
            std::string("/remote_configs/v1/init?game_key=") + Game::kKey + "&interval_seconds=0&configs_hash=");
  EXPECT_EQ(events.target, std::string("/v2/") + Game::kKey + "/events");
  for (const auto& request : {init, events}) {
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("Content-Encoding"), "gzip");
    EXPECT_EQ(request.header("Authorization"), ZVHelpers::hmacWithKey(Game::kSecret, request.body));
    EXPECT_EQ(request.body.substr(0, 2), "\x1f\x8b");
  }
  const auto body = ZVHelpers::dictionaryWithJsonData(ZVHelpers::gzipDeflateWithData(init.body));
  EXPECT_THAT(keysOf(*body->ifMap()), ElementsAre("user_id", "ios_idfa", "ios_idfv", "sdk_version", "os_version",
                                                  "platform", "build", "random_salt"));
}

TEST(Wire, ASdkErrorEventIsSentAloneWithAuthorizationAlone) {
  Game game;
  game.start();
  Zorvane::addDesignEventWithEventId("one:two:three:four:five:six");
  game.settle();
  ASSERT_TRUE(game.collector.waitForRequests(3));
  const auto request = game.collector.requests(LoopbackServer::kEvents).back();
  EXPECT_THAT(request.headers, testing::UnorderedElementsAre(testing::Key("Authorization"),
                                                             testing::Key("Content-Length"), testing::Key("Host")));
  EXPECT_EQ(request.header("Authorization"), ZVHelpers::hmacWithKey(Game::kSecret, request.body));
  const auto events = Game::eventsOf(request);
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_THAT(keysOf(events[0]),
              ElementsAre("v", "event_uuid", "category", "sdk_version", "os_version", "manufacturer", "device",
                          "platform", "error_category", "error_area", "error_action", "error_parameter", "reason"));
  EXPECT_THAT(request.body, HasSubstr(R"("error_category":"event_validation","error_area":"design",)"
                                      R"("error_action":"invalid_event_id_length","error_parameter":"event_id",)"
                                      R"("reason":"one:two:three:four:five:six")"));
}

TEST(Wire, ABaseUrlMovesEventsAndNotTheInitCall) {
  const LoopbackServer elsewhere;
  Game game;
  Zorvane::setBaseUrl(elsewhere.url("/other"));
  game.start();
  EXPECT_THAT(game.collector.requests(), SizeIs(1));
  ASSERT_THAT(elsewhere.requests(), SizeIs(1));
  EXPECT_EQ(elsewhere.requests()[0].target, std::string("/other/") + Game::kKey + "/events");
}

constexpr std::size_t kAtStart = 2;  // requests of a session's start

void send(SdkErrorArea area, const std::string& reason, SdkErrorParameter parameter = SdkErrorParameter::none) {
  ZVEvents::sendSdkErrorEventWithCategory(SdkErrorCategory::db, area, SdkErrorAction::sqlBegin, parameter, reason,
                                          Game::kKey, Game::kSecret);
}

TEST(SdkErrors, AreSentTenTimesPerCategoryAndArea) {
  Game game;
  game.start();
  game.onQueue([] {
    for (int i = 0; i < 12; ++i) send(SdkErrorArea::sql, "again");
    EXPECT_EQ(ZVState::getSdkErrorEventCountForType("db:sql"), 10);
    send(SdkErrorArea::addEventsToStore, "another");
  });
  EXPECT_EQ(
      game.log.count("Cannot send error event. The type of error has been sent more than 10 times per hour: db:sql"),
      2U);
  ASSERT_TRUE(game.collector.waitForRequests(kAtStart + 11));
  EXPECT_THAT(game.sdkErrors(), SizeIs(11));
  game.platform.clock->advance(4000);
  game.onQueue([] { EXPECT_FALSE(ZVState::isSdkErrorEventTypeAllowed("db:sql")) << "for the life of the process"; });
}

TEST(SdkErrors, CutTheirReasonAndLeaveOutWhatIsEmpty) {
  Game game;
  game.start();
  using Case = std::pair<std::string, std::string>;
  const std::string emoji = "\xF0\x9F\x98\x80";  // two code units
  std::size_t requests = kAtStart;
  for (const auto& [reason, sent] :
       {Case{std::string(256, 'r'), std::string(256, 'r')}, Case{std::string(257, 'r'), std::string(256, 'r')},
        Case{std::string(255, 'r') + emoji, std::string(255, 'r')}, Case{"", "(none)"}, Case{"half \xC3", "(none)"}}) {
    game.onQueue([&] { send(SdkErrorArea::sql, reason); });
    ASSERT_TRUE(game.collector.waitForRequests(++requests));
    EXPECT_EQ(shown(game.sdkErrors().back(), "reason"), sent);
    EXPECT_EQ(shown(game.sdkErrors().back(), "error_parameter"), "(none)");
  }
}

TEST(SdkErrors, AreNeitherSentNorCountedWithoutKeysOrSubmission) {
  Game game;
  game.start();
  game.onQueue([] {
    ZVEvents::sendSdkErrorEventWithCategory(SdkErrorCategory::db, SdkErrorArea::sql, SdkErrorAction::sqlBegin, "r",
                                            "short", Game::kSecret);
    ZVState::setEnableEventSubmission(false);
    send(SdkErrorArea::sql, "r");
    ZVEvents::addErrorEvent("type", ZVErrorSeverity::error, "unheard");
    for (const char* type : {"db:sql", "type"}) EXPECT_EQ(ZVState::getSdkErrorEventCountForType(type), 0) << type;
  });
  EXPECT_EQ(game.log.count("validateSdkErrorEvent failed. Game key or secret key is invalid."), 1U);
  EXPECT_THAT(game.collector.requests(), SizeIs(kAtStart));
}

}  // namespace

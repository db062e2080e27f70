#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "state/ZVState.h"
#include "support/Game.h"
#include "values/SdkError.h"

using namespace zorvane;

namespace {

using testing::SizeIs;

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

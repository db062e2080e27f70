#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "state/ZVState.h"
#include "support/Game.h"

namespace {

using testing::SizeIs;

TEST(ErrorLimit, TakesTenOfATypeAndNeverStartsAnew) {
  Game game;
  game.start();
  game.onQueue([&] {
    for (int i = 0; i < 12; ++i) {
      ZVState::addErrorEvent("type", ZVErrorSeverity::error, "message " + std::to_string(i));
      game.platform.clock->advance(3600);
    }
    ZVState::addErrorEvent("another type", ZVErrorSeverity::critical, "one");
    EXPECT_EQ(ZVState::getSdkErrorEventCountForType("type"), 10);
  });
  const auto errors = game.stored("error");
  ASSERT_THAT(errors, SizeIs(11));
  EXPECT_EQ(shown(errors[9], "message"), "message 9");
  EXPECT_EQ(shown(errors[10], "severity"), "critical");
}

TEST(ErrorLimit, CountsNothingWhileSubmissionIsOff) {
  Game game;
  game.start();
  game.onQueue([] {
    ZVState::setEnableEventSubmission(false);
    ZVState::addErrorEvent("type", ZVErrorSeverity::error, "unheard");
    ZVState::setEnableEventSubmission(true);
    EXPECT_EQ(ZVState::getSdkErrorEventCountForType("type"), 0);
  });
  EXPECT_THAT(game.stored("error"), SizeIs(0));
}

TEST(ErrorSeverity, OutsideItsListIsAFailureOfItsOwn) {
  Game game;
  game.start();
  game.onQueue([] {
    for (const int severity : {-1, 0, 6}) ZVState::addErrorEvent("t", static_cast<ZVErrorSeverity>(severity), "m");
  });
  EXPECT_THAT(game.stored("error"), SizeIs(0));
  EXPECT_EQ(game.log.count("Validation fail - error event - severity: Severity was unsupported value."), 3U);
}

}  // namespace

#include "runtime/ZVLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/ZVNotificationCenter.h>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

using testing::ElementsAre;

void logEverything() {
  for (const int domain : {0, 1, 2}) {
    ZVLogger::e(domain, "e");
    ZVLogger::w(domain, "w");
    ZVLogger::i(domain, "i");
    ZVLogger::ii(domain, "ii");
    ZVLogger::d(domain, "d");
  }
}

TEST(Logger, WritesByDefaultWarningsErrorsAndTheSystemsInfo) {
  const LogCapture log(LogCapture::Levels::asTheyAre);
  logEverything();
  EXPECT_THAT(log.lines(),
              ElementsAre("Error/ZV/Analytics: e", "Warning/ZV/Analytics: w", "Error/ZV/System: e",
                          "Warning/ZV/System: w", "Info/ZV/System: i", "Error/ZV: e", "Warning/ZV: w", "Info/ZV: i"));
}

TEST(Logger, HasASwitchForEachLevelButErrors) {
  const LogCapture log(LogCapture::Levels::asTheyAre);
  ZVLogger::setWarningLog(false);
  ZVLogger::setAnalyticsLog(true);
  ZVLogger::setVerboseLog(true);
  ZVLogger::setOrbitLog(true);
  ZVLogger::sharedInstance().debugEnabled = true;
  logEverything();
  auto lines = log.lines();
  lines.resize(4);
  EXPECT_THAT(lines, ElementsAre("Error/ZV/Analytics: e", "Info/ZV/Analytics: i", "Info/ZV/Analytics: ii",
                                 "Debug/ZV/Analytics: d"));
}

TEST(Logger, WritesWhatItIsGivenAsUtf8) {
  const LogCapture log(LogCapture::Levels::asTheyAre);
  testing::internal::CaptureStderr();
  ZVLogger::w(0, "{} {}", "100 % {} %@ %s", ZVText());
  ZVLogger::w(0, "Key '{}': \u00e9", "a\xff\xc3");
  const std::string line = "Warning/ZV/Analytics: Key 'a\uFFFD\uFFFD': \u00e9";
  EXPECT_THAT(log.lines(), ElementsAre("Warning/ZV/Analytics: 100 % {} %@ %s (null)", line));
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::EndsWith(line + "\n"));
}

TEST(Logger, TellsObserversTheLineAndItsType) {
  std::vector<ZVMap> told;
  const auto token = ZVNotificationCenter::addObserver(
      k_ZV_LoggerMessageNotification, [&](const ZVNotification& line) { told.push_back(line.userInfo); });
  ZVLogger::e(0, "a");
  ZVLogger::w(0, "b");
  ZVLogger::i(1, "c");
  ZVNotificationCenter::removeObserver(token);
  ZVLogger::e(0, "unheard");
  EXPECT_THAT(told, ElementsAre(ZVMap{{"type", 0}, {"message", "Error/ZV/Analytics: a"}},
                                ZVMap{{"type", 1}, {"message", "Warning/ZV/Analytics: b"}},
                                ZVMap{{"type", 2}, {"message", "Info/ZV/System: c"}}));
}

TEST(Logger, KeepsToObserversWhereThePlatformWantsAQuietConsole) {
  const LogCapture log(LogCapture::Levels::asTheyAre);
  for (const bool quiet : {true, false}) {
    const TestPlatform platform = TestPlatform::make([=](ZVPlatform& chosen) { chosen.quietConsole = quiet; });
    testing::internal::CaptureStderr();
    ZVLogger::w(0, "a line");
    EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), quiet);
  }
  EXPECT_EQ(log.count("a line"), 2U);
}

TEST(NotificationCenter, SurvivesObserversThatThrowLogAndChangeTheObservers) {
  std::vector<std::string> heard;
  ZVNotificationCenter::Token last = 0;
  ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, [&](const ZVNotification& line) {
    heard.push_back(*line.userInfo.find("message")->ifString());
    ZVLogger::w(0, "of the observer itself");  // written, not posted: it would call itself without end
    ZVNotificationCenter::removeObserver(last);
    last = ZVNotificationCenter::addObserver("other", [](const ZVNotification&) {});
    throw 1;
  });
  ZVLogger::w(0, "one");
  ZVLogger::w(0, "two");
  EXPECT_THAT(heard, ElementsAre("Warning/ZV/Analytics: one", "Warning/ZV/Analytics: two"));
}

}  // namespace

#include "runtime/ZVLogger.h"

#include <gmock/gmock.h>

#include <zorvane/ZVNotificationCenter.h>

#include "support/Game.h"

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

TEST(Logger, ReportsEachLineWithItsTypeAtTheLevelsThatAreOn) {
  std::vector<std::string> lines;
  const auto token = ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, [&](const ZVNotification& line) {
    lines.push_back(shown(line.userInfo, "type") + ' ' + shown(line.userInfo, "message"));
  });
  logEverything();
  EXPECT_THAT(lines, ElementsAre("0 Error/ZV/Analytics: e", "1 Warning/ZV/Analytics: w", "0 Error/ZV/System: e",
                                 "1 Warning/ZV/System: w", "2 Info/ZV/System: i", "0 Error/ZV: e", "1 Warning/ZV: w",
                                 "2 Info/ZV: i"));
  lines.clear();
  ZVLogger::setWarningLog(false);
  ZVLogger::setAnalyticsLog(true);
  ZVLogger::setVerboseLog(true);
  ZVLogger::setOrbitLog(true);
  ZVLogger::sharedInstance().debugEnabled = true;
  logEverything();
  lines.resize(4);
  EXPECT_THAT(lines, ElementsAre("0 Error/ZV/Analytics: e", "2 Info/ZV/Analytics: i", "2 Info/ZV/Analytics: ii",
                                 "3 Debug/ZV/Analytics: d"));
  lines.clear();
  ZVNotificationCenter::removeObserver(token);
  logEverything();
  EXPECT_THAT(lines, ElementsAre());
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

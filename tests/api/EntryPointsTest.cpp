#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <zorvane/ZVTimer.h>
#include <zorvane/Zorvane.h>

#include "runtime/ZVThreading.h"
#include "support/Game.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"

using namespace zorvane;

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using Z = Zorvane;

constexpr double kSoon = 0.001;

TEST(AdTypes, RaiseOutsideTheirList) {
  for (const int outside : {0, 7})
    EXPECT_THAT([&] { Z::adTypeToString(ZVAdType{outside}); },
                testing::ThrowsMessage<std::runtime_error>("Unexpected FormatType."));
}

TEST(NamedTimers, SumTheirRunningStretchesOnceResumed) {
  Game game;
  FakeClock& clock = *game.platform.clock;
  Z::startTimer("level");
  clock.advance(5);
  EXPECT_EQ(Z::stopTimer("level"), 0) << "a new timer does not run";
  Z::resumeTimer("level");
  clock.advance(1.5);
  Z::resumeTimer("level");  // runs already
  clock.advance(0.25);
  Z::pauseTimer("level");
  Z::pauseTimer("level");
  clock.advance(9);
  EXPECT_EQ(Z::stopTimer("level"), 1750);
  Z::resumeTimer("level");
  clock.advance(-1);  // the device's clock was set back
  EXPECT_EQ(Z::stopTimer("level"), 750);
  game.log.clear();
  Z::startTimer("level");
  Z::pauseTimer("other");
  Z::resumeTimer("other");
  EXPECT_EQ(Z::stopTimer("other"), 0);
  Z::startTimer(nullptr);
  EXPECT_EQ(Z::stopTimer(nullptr), 0);
  const std::string warning = "Warning/ZV/Analytics: ";
  EXPECT_THAT(game.log.lines(), ElementsAre(warning + "startTimer: overriding old value for key=level",
                                            warning + "pauseTimer: no value found for key=other",
                                            warning + "resumeTimer: no value found for key=other",
                                            warning + "stopTimer: no value found for key=other",
                                            warning + "startTimer: a timer needs a key",
                                            warning + "stopTimer: no value found for key=(null)"));
}

TEST(TimersWithATask, RunOnTheThreadThatScheduledThem) {
  Game game;
  std::vector<std::string> ran;
  const auto note = [&](const std::string& what) { return [&ran, what] { ran.push_back(what); }; };

  auto again = ZVTimer::scheduledTimerWithTimeInterval(2, note("again"), true);
  const auto once = ZVTimer::scheduledTimerWithTimeInterval(1, note("once"), false);
  auto captured = std::make_shared<int>();
  const auto never = ZVTimer::scheduledTimerWithTimeInterval(
      1, [&ran, captured] { ran.emplace_back("never"); }, false);
  ZVTimer::scheduledTimerWithTimeInterval(1, nullptr, false);
  never->invalidate();
  EXPECT_EQ(captured.use_count(), 1) << "what the task owned goes with it";
  ZVTimer::servePending();
  EXPECT_THAT(ran, ElementsAre()) << "the main loop serves its own";
  game.platform.loop->advance(5);
  EXPECT_THAT(ran, ElementsAre("once", "again", "again"));
  EXPECT_FALSE(once->isValid());
  again->invalidate();
  game.platform.loop->advance(5);
  EXPECT_THAT(ran, SizeIs(3));

  std::thread elsewhere([&] {
    const auto thread = std::this_thread::get_id();
    const auto timer = ZVTimer::scheduledTimerWithTimeInterval(
        kSoon, [&, thread] { ran.push_back(thread == std::this_thread::get_id() ? "here" : "elsewhere"); }, true);
    ZVTimer::scheduledTimerWithTimeInterval(
        kSoon, [] { throw std::runtime_error("of the game"); }, false);
    while (ran.size() < 5) ZVTimer::servePending();
    EXPECT_TRUE(timer->isValid());
  });
  elsewhere.join();
  EXPECT_THAT(ran, ElementsAre("once", "again", "again", "here", "here"));
}

TEST(HostileInput, FromManyThreadsAtOnceIsTakenInFull) {
  Game game;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      if (t == 0) Zorvane::initializeWithGameKey(Game::kKey, Game::kSecret);
      for (int i = 0; i < 200; ++i) {
        Zorvane::addDesignEventWithEventId("of:thread" + std::to_string(t), i);
        Zorvane::getRemoteConfigsValueAsString("none", "default");
        Zorvane::setEnabledWarningLog(i % 2 == 0);
      }
    });
  for (std::thread& thread : threads) thread.join();
  game.settle();
  EXPECT_THAT(game.stored("design").size(), testing::Ge(200U)) << "the first thread's at least";
}

TEST(HostileInput, FromObserversNeitherHangsNorRecursesForEver) {
  Game game;
  std::atomic<int> calls{0};
  const auto observer = ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, [&](const ZVNotification&) {
    if (++calls < 50) Zorvane::addDesignEventWithEventId("from:observer");
    Zorvane::getRemoteConfigsValueAsString("missing");
  });
  game.start();
  ZVNotificationCenter::removeObserver(observer);
  game.settle();
  EXPECT_FALSE(game.stored("design").empty());
}

constexpr double kBound = 6;

// A game with a static object that is older than the library, and so outlives its exit. Ends the process.
[[noreturn]] void play(const TemporaryFolder& folder, void (*onQueue)()) {
  struct Reporter {
    ~Reporter() { Zorvane::addDesignEventWithEventId("from:destructor"); }
  };
  static const Reporter reporter;
  ZVPlatform platform;
  platform.dataDirectory = folder.path();
  platform.collector = {"http", "127.0.0.1", "9"};
  platform.exitSeconds = kBound;
  ZVPlatform::install(std::move(platform));
  Zorvane::initializeWithGameKey("0123456789abcdef0123456789ABCDEF", "0123456789abcdef0123456789ABCDEF01234567");
  ZVThreading::performTaskOnZVThreadWithBlock(onQueue);
  std::exit(0);
}

double secondsOf(const TemporaryFolder& folder, void (*onQueue)()) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EXIT(play(folder, onQueue), testing::ExitedWithCode(0), "");
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

TEST(Exit, TakesItsBoundOnceWhenTheQueueIsStuck) {
  const TemporaryFolder folder;
  const double seconds = secondsOf(folder, [] {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
  });
  EXPECT_GE(seconds, kBound);
  EXPECT_LT(seconds, 2 * kBound);
}

// A queue that has something to do all the time never has nothing left.
TEST(Exit, StoresWhatComesLateWhileTheQueueIsBusy) {
  const TemporaryFolder folder;
  secondsOf(folder, [] {
    struct Forever {
      void operator()() const {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ZVThreading::performTaskOnZVThreadWithBlock(Forever());
      }
    };
    ZVThreading::performTaskOnZVThreadWithBlock(Forever());
  });
  EXPECT_EQ(countRows(folder.file("zorvane.sqlite"),
                      "SELECT count(*) FROM zv_events WHERE event LIKE '%\"from:destructor\"%'"),
            1U);
}

}  // namespace

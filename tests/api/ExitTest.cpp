#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "runtime/ZVThreading.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"

using namespace zorvane;

namespace {

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

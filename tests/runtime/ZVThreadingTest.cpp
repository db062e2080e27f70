#include "runtime/ZVThreading.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

constexpr auto kLimit = std::chrono::seconds(20);

TEST(MainThreadHandOver, RunsInlineThereAndIsWaitedForElsewhere) {
  const TestPlatform platform = TestPlatform::make();
  bool ran = false;
  ZVThreading::performTaskOnMainThreadWithBlock([&] { ran = true; });
  EXPECT_TRUE(ran);

  std::atomic<bool> done{false};
  std::thread::id ranOn;
  ZVThreading::performTaskOnZVThreadWithBlock([&] {
    ZVThreading::performTaskOnMainThreadWithBlock([&] { ranOn = std::this_thread::get_id(); });
    done = true;
  });
  ASSERT_TRUE(platform.loop->runUntil([&] { return done.load(); }));
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(MainThreadHandOver, IsGivenUpWhenTheHostIsLeavingAndThenNeverRuns) {
  const TestPlatform platform = TestPlatform::make();
  std::atomic<bool> ran{false};
  ZVThreading::performTaskOnZVThreadWithBlock(
      [&] { ZVThreading::performTaskOnMainThreadWithBlock([&] { ran = true; }); });
  ZVThreading::stopWaitingForMainThread();
  ASSERT_TRUE(ZVThreading::sharedInstance().queue.drain(kLimit)) << "nobody pumps the loop";
  platform.loop->pump();
  EXPECT_FALSE(ran);
}

}  // namespace

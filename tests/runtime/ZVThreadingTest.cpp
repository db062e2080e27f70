#include "runtime/ZVThreading.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

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

}  // namespace

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/Defaults.h"

using namespace zorvane;

namespace {

constexpr auto kLimit = std::chrono::seconds(10);
constexpr double kNever = 3600;

bool comes(std::future<void> event) { return event.wait_for(kLimit) == std::future_status::ready; }

}  // namespace

TEST(PumpedMainLoop, RunsWhatIsDueInPostingOrderAndLeavesTheRest) {
  ZVPumpedMainLoop loop;
  EXPECT_FALSE(loop.secondsUntilNextTask());
  std::vector<int> ran;
  loop.scheduleTimer(kNever, [&] { ran.push_back(99); });
  loop.post([] { throw std::runtime_error("a task's own trouble"); });
  loop.post([&] { ran.push_back(1); });
  loop.post([&] {
    ran.push_back(2);
    loop.post([&] { ran.push_back(4); });
  });
  loop.scheduleTimer(0, [&] { ran.push_back(3); });
  EXPECT_EQ(loop.secondsUntilNextTask(), 0.0);

  loop.pump();
  EXPECT_EQ(ran, (std::vector{1, 2, 3})) << "what a task posts waits for the next pump";
  loop.pump();
  EXPECT_EQ(ran, (std::vector{1, 2, 3, 4}));
  EXPECT_GT(loop.secondsUntilNextTask().value_or(0), kNever / 2);
  std::thread([&] { EXPECT_FALSE(loop.isMainThread()); }).join();
}

TEST(PumpedMainLoop, TakesOddTimersAndCancelsOnesThatAreDue) {
  ZVPumpedMainLoop loop;
  int fired = 0;
  ZVMainLoop::TimerId due = 0;
  loop.post([&] { loop.cancelTimer(due); });
  due = loop.scheduleTimer(-1, [&] { fired += 100; });
  for (const double seconds : {-5.0, 0.0, std::numeric_limits<double>::quiet_NaN()})
    loop.scheduleTimer(seconds, [&] { ++fired; });
  loop.scheduleTimer(std::numeric_limits<double>::infinity(), [&] { fired += 1000; });
  loop.cancelTimer(12345);
  loop.pump();
  EXPECT_EQ(fired, 3);
}

TEST(OwnThreadMainLoop, RunsTasksAndTimersOnAThreadOfItsOwn) {
  const auto loop = makeOwnThreadMainLoop();
  EXPECT_FALSE(loop->isMainThread());
  std::promise<void> fired;
  bool onMainThread = false;
  loop->post([] { throw 1; });
  loop->post([&] { onMainThread = loop->isMainThread(); });
  bool cancelledFired = false;
  const auto cancelled = loop->scheduleTimer(0.02, [&] { cancelledFired = true; });
  loop->scheduleTimer(kNever, [] { FAIL(); });
  loop->scheduleTimer(0.03, [&] { fired.set_value(); });
  loop->cancelTimer(cancelled);
  EXPECT_TRUE(comes(fired.get_future())) << "a timer that is due earlier must not wait for a later one";
  EXPECT_FALSE(cancelledFired);
  EXPECT_TRUE(onMainThread);
}

TEST(OwnThreadMainLoop, GoesAwayWithWorkLeftUnusedOrFromWithin) {
  makeOwnThreadMainLoop();  // no thread yet
  makeOwnThreadMainLoop()->scheduleTimer(kNever, [] { FAIL(); });

  auto owner = std::make_shared<std::shared_ptr<ZVMainLoop>>(makeOwnThreadMainLoop());
  std::promise<void> gone;
  std::promise<void> handedOver;
  (*owner)->post([owner, &gone, given = handedOver.get_future().share()] {
    given.wait();
    owner->reset();  // the last reference
    gone.set_value();
  });
  handedOver.set_value();
  owner.reset();
  EXPECT_TRUE(comes(gone.get_future()));
}

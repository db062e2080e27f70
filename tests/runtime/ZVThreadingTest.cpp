// The queue of the library's thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "runtime/TaskQueue.h"
#include "runtime/ZVThreading.h"
#include "support/TestPlatform.h"
#include "support/WakeUps.h"

using namespace zorvane;

namespace {

constexpr auto kLimit = std::chrono::seconds(20);

TEST(TaskQueue, RunsTheTasksOfEachPosterInOrderAndOneAtATime) {
  TaskQueue queue("test");
  constexpr int kPosters = 4;
  constexpr int kTasks = 5000;
  std::vector<std::vector<int>> seen(kPosters);
  int running = 0;  // no lock: the queue is what keeps the tasks apart
  std::vector<std::thread> posters;
  for (int poster = 0; poster < kPosters; ++poster)
    posters.emplace_back([&, poster] {
      for (int task = 0; task < kTasks; ++task)
        queue.post([&, poster, task] {
          ASSERT_EQ(++running, 1);
          seen[static_cast<std::size_t>(poster)].push_back(task);
          --running;
        });
    });
  for (std::thread& poster : posters) poster.join();
  ASSERT_TRUE(queue.drain(kLimit));
  for (const auto& tasks : seen) {
    ASSERT_EQ(tasks.size(), static_cast<std::size_t>(kTasks));
    EXPECT_TRUE(std::is_sorted(tasks.begin(), tasks.end()));
  }
}

TEST(TaskQueue, OutlivesATaskThatThrowsAndReleasesEachTaskOnceItHasRun) {
  TaskQueue queue("test");
  const auto token = std::make_shared<int>(0);
  queue.post([token] { throw std::runtime_error("a task's own fault"); });
  queue.post([token] { throw 7; });
  bool ran = false;
  queue.post([&ran, token] { ran = true; });
  ASSERT_TRUE(queue.drain(kLimit));
  EXPECT_TRUE(ran);
  EXPECT_EQ(token.use_count(), 1) << "nothing that a task captured is kept";
}

TEST(TaskQueue, RunsWhatIsPostedAtAnyPaceAndRestsBetweenTasksThatAreRare) {
  TaskQueue queue("test");
  const auto postAndWait = [&queue] {
    const auto ran = std::make_shared<std::promise<void>>();
    queue.post([ran] { ran->set_value(); });
    return ran->get_future().wait_for(kLimit) == std::future_status::ready;
  };
  // Every kind of rest, and the steps from one to the other, met by a task in the middle of it.
  for (const int pause : {0, 50, 500, 5'000, 17'000, 50'000})  // us
    for (int task = 0; task < 15; ++task) {
      ASSERT_TRUE(postAndWait()) << "after a pause of " << pause << " us";
      std::this_thread::sleep_for(std::chrono::microseconds(pause));
    }

  constexpr int kRareTasks = 5;
  for (int task = 0; task < kRareTasks; ++task) {  // until the rate is known
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ASSERT_TRUE(postAndWait());
  }
  const long before = wakeUpsOf("zorvane");
  for (int task = 0; task < kRareTasks; ++task) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ASSERT_TRUE(postAndWait());
  }
  EXPECT_LE(wakeUpsOf("zorvane") - before, 3 * kRareTasks);
}

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

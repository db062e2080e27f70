#include "runtime/TaskQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

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

TEST(TaskQueue, NeverRunsATaskInline) {
  TaskQueue queue("test");
  std::vector<std::string> order;
  queue.post([&] {
    queue.post([&] { order.emplace_back("inner"); });
    order.emplace_back("outer");
  });
  ASSERT_TRUE(queue.drain(kLimit)) << "a drain waits for what the tasks post, too";
  EXPECT_EQ(order, (std::vector<std::string>{"outer", "inner"}));
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

TEST(TaskQueue, SaysWhenADrainRanOutOfTime) {
  TaskQueue queue("test");
  std::atomic<bool> go{false};
  queue.post([&] {
    while (!go) std::this_thread::yield();
  });
  EXPECT_FALSE(queue.drain(std::chrono::milliseconds(10)));
  go = true;
  EXPECT_TRUE(queue.drain(kLimit));
}

}  // namespace

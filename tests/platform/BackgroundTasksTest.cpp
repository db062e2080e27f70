#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "platform/Defaults.h"

using namespace zorvane;

TEST(BackgroundTasks, KeepAnExitWaitingUntilTheLastHasEnded) {
  const auto tasks = makeExitDelayingBackgroundTasks();
  const auto first = tasks->begin([] { FAIL(); });
  const auto second = tasks->begin([] { FAIL(); });
  tasks->end(first);
  std::thread other([&] { tasks->end(second); });
  tasks->waitAtExit(60);  // the test's own limit tells when this does not come back
  other.join();
}

TEST(BackgroundTasks, ExpireOnceWhenTimeRunsOut) {
  const auto tasks = makeExitDelayingBackgroundTasks();
  std::string expired;
  tasks->waitAtExit(0);
  ZVBackgroundTasks::TaskId ending = 0;
  ending = tasks->begin([&] {
    expired += 'a';
    tasks->end(ending);
  });
  tasks->begin([] { throw std::runtime_error("an expiry handler's own trouble"); });
  tasks->begin({});
  tasks->begin([&] { expired += 'b'; });
  tasks->end(tasks->begin([&] { expired += 'c'; }));
  tasks->end(4711);
  tasks->waitAtExit(0);
  tasks->waitAtExit(-1);
  EXPECT_EQ(expired, "ab");
}

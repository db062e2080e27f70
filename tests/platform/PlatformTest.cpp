#include "platform/Platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <future>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "support/TemporaryFolder.h"

using namespace zorvane;

namespace {

TEST(Platform, TakesTheLastInstalledUntilItIsInForceAndFillsTheRest) {
  const TemporaryFolder folder;
  ZVPlatform given;
  given.dataDirectory = folder.file("first");
  EXPECT_TRUE(ZVPlatform::install(given));
  given.dataDirectory = folder.file("second");
  given.application = []() -> ZVApplicationFacts { throw std::runtime_error("a host's own trouble"); };
  EXPECT_TRUE(ZVPlatform::install(given));

  EXPECT_FALSE(isPlatformInForce());
  EXPECT_EQ(platform().dataDirectory, folder.file("second"));
  EXPECT_TRUE(isPlatformInForce());
  EXPECT_FALSE(ZVPlatform::install({}));
  EXPECT_EQ(platform().dataDirectory, folder.file("second"));

  EXPECT_FALSE(platform().application().bundleIdentifier);
  EXPECT_FALSE(platform().device().systemVersion.empty());
  EXPECT_EQ(platform().collector.protocol, "https");
  EXPECT_FALSE(platform().collector.hostname.empty());
  EXPECT_TRUE(platform().userDefaults && platform().mainLoop && platform().backgroundTasks && platform().clock);
  EXPECT_TRUE(platform().reachability && platform().makeURLSession());
}

// Standard error as a pipe that doesn't wait for its reader.
class SlowConsole {
 public:
  SlowConsole() {
    EXPECT_EQ(pipe2(ends_.data(), O_NONBLOCK | O_CLOEXEC), 0);
    dup2(ends_[1], STDERR_FILENO);
  }
  ~SlowConsole() {
    dup2(before_, STDERR_FILENO);
    for (const int end : {before_, ends_[0], ends_[1]}) close(end);
  }
  // What there is now, in small pieces.
  [[nodiscard]] std::string read() const {
    std::string text;
    std::array<char, 1000> piece{};
    for (ssize_t count = 0; (count = ::read(ends_[0], piece.data(), piece.size())) > 0;)
      text.append(piece.data(), static_cast<std::size_t>(count));
    return text;
  }

 private:
  const int before_ = dup(STDERR_FILENO);
  std::array<int, 2> ends_{};
};

TEST(Console, WritesALongLineWholeForASlowReaderAndDropsOneThatNobodyReads) {
  const std::string line = std::string(300'000, 'x') + "!";
  SlowConsole console;
  std::thread writer([&] { writeConsoleLine(line); });
  std::string text;
  while (!text.ends_with('\n')) {
    text += console.read();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  writer.join();
  EXPECT_TRUE(text.ends_with(line + "\n")) << text.size();
  EXPECT_EQ(std::ranges::count(text, 'x'), 300'000);

  for (int i = 0; i < 24; ++i) writeConsoleLine(std::string(3'000, 'y'));  // more than the pipe takes
  std::istringstream lines(console.read());
  int whole = 0;
  for (std::string each; std::getline(lines, each); ++whole) EXPECT_EQ(std::ranges::count(each, 'y'), 3'000);
  EXPECT_GT(whole, 10);
}

TEST(Platform, KeepsDataInAPrivateFolderOfTheApplicationsOwn) {
  const TemporaryFolder folder;
  ZVPlatform given;
  given.dataDirectory = folder.file("deep/er");
  replacePlatform(given);
  struct stat status {};
  ASSERT_EQ(stat(applicationDataDirectory().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);

  const std::string plain = defaultDataDirectory("com.example.game");
  EXPECT_TRUE(plain.ends_with("/.local/share/com.example.game")) << plain;
  const std::string root = plain.substr(0, plain.rfind('/') + 1);
  for (const char* odd : {"", ".", "..", "../other", "line\n"}) {
    const std::string name = defaultDataDirectory(odd).substr(root.size());
    EXPECT_TRUE(!name.empty() && name.front() != '.' && name.find_first_of("/\n") == name.npos) << odd;
  }
  EXPECT_NE(defaultDataDirectory("a/b"), defaultDataDirectory("a%2Fb"));
  const std::string longName(201, 'x');  // the same in every version, or games lose their data
  EXPECT_EQ(defaultDataDirectory(longName), root + longName.substr(0, 200) + "%3904990368788364199");
  EXPECT_NE(defaultDataDirectory(longName), defaultDataDirectory(longName + "g"));
}

constexpr auto kLimit = std::chrono::seconds(10);
constexpr double kNever = 3600;

bool comes(std::future<void> event) { return event.wait_for(kLimit) == std::future_status::ready; }

TEST(PumpedMainLoop, RunsWhatIsDueInPostingOrderAndLeavesWhatIsNotOrWasCancelled) {
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

  ZVMainLoop::TimerId due = 0;
  loop.post([&] { loop.cancelTimer(due); });
  due = loop.scheduleTimer(-1, [&] { ran.push_back(98); });
  for (const double seconds : {-5.0, std::numeric_limits<double>::quiet_NaN()})
    loop.scheduleTimer(seconds, [&] { ran.push_back(5); });
  loop.scheduleTimer(std::numeric_limits<double>::infinity(), [&] { ran.push_back(97); });
  loop.cancelTimer(12345);
  loop.pump();
  EXPECT_EQ(ran, (std::vector{1, 2, 3, 4, 5, 5}));
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

TEST(BackgroundTasks, KeepAnExitWaitingUntilTheLastHasEndedOrTimeRunsOut) {
  const auto tasks = makeExitDelayingBackgroundTasks();
  const auto first = tasks->begin([] { FAIL(); });
  const auto second = tasks->begin([] { FAIL(); });
  tasks->end(first);
  std::thread other([&] { tasks->end(second); });
  tasks->waitAtExit(60);  // the test's own limit tells when this does not come back
  other.join();

  std::string expired;
  ZVBackgroundTasks::TaskId ending = 0;
  ending = tasks->begin([&] {
    expired += 'a';
    tasks->end(ending);
  });
  tasks->begin([] { throw std::runtime_error("an expiry handler's own trouble"); });
  tasks->begin({});
  tasks->begin([&] { expired += 'b'; });
  tasks->end(4711);
  for (const double seconds : {0, -1}) tasks->waitAtExit(seconds);
  EXPECT_EQ(expired, "ab") << "once";
}

}  // namespace

#include "platform/Platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "support/TemporaryFolder.h"

using namespace zorvane;

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

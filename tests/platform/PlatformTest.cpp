#include "platform/Platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

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

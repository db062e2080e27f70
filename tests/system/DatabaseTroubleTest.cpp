// What a game lives through when its storage fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/Sqlite.h"
#include "system/Processes.h"

namespace {

using testing::HasSubstr;

const std::string kSubmit = "[\"@submit\"]\n[\"@drain\"]\n";
const std::string kDebug = "[\"setEnableDebugLog:\",true]\n";

TEST(DatabaseTrouble, AFolderThatCanNotBeWrittenIsSaidAndStopsNothingElse) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  std::ofstream(folder.file("data")) << "a file where the folder should be";
  const auto game = Player{folder, collector.url()}.start(initialising() + designs(0, 1));
  ASSERT_EQ(game->wait()->status, 0);
  EXPECT_THAT(game->errors(), HasSubstr("Could not ensure/validate local event database"));
  EXPECT_THAT(game->errors(), HasSubstr("Could not add design event: Datastore not initialized"));
}

// Root may write everywhere: where these tests run as root, the game runs as nobody.
TEST(DatabaseTrouble, AFileThatCanNotBeWrittenIsSaidAndStaysWhereItIs) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const Player player{folder, collector.url()};
  ASSERT_EQ(player.start(initialising() + designs(0, 1) + "[\"@drain\"]\n")->wait()->status, 0);
  std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
  using std::filesystem::perms;
  for (const auto& entry : std::filesystem::directory_iterator(folder.file("data")))
    std::filesystem::permissions(entry, perms::owner_read | perms::group_read | perms::others_read);
  std::filesystem::permissions(folder.file("data"), std::filesystem::perms::all);
  const auto game = player.start(initialising() + designs(1, 1), {.fileSize = {}, .user = 65534});
  ASSERT_EQ(game->wait()->status, 0);
  EXPECT_THAT(game->errors(), HasSubstr("Warning/ZV/Analytics: The event database can't be written: "));
  EXPECT_THAT(game->errors(), HasSubstr("Could not add design event: Datastore not initialized"));
  EXPECT_FALSE(std::filesystem::exists(player.database() + ".damaged"));
}

TEST(DatabaseTrouble, AFullDiskCostsEventsButNotTheDatabase) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const Player player{folder, collector.url()};
  const auto full =
      player.start(kDebug + initialising() + designs(0, 2000) + "[\"@drain\"]\n", {.fileSize = 200'000, .user = {}});
  ASSERT_EQ(full->wait()->status, 0);
  EXPECT_THAT(full->errors(), HasSubstr("SQLITE3 "));
  ASSERT_EQ(player.start(initialising() + designs(5000, 3) + kSubmit)->wait()->status, 0);
  EXPECT_GT(collector.records("design").size(), 3U);  // what had fitted, and what came once there was room again
}

TEST(DatabaseTrouble, ALockedFileIsWaitedForThenReported) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const Player player{folder, collector.url()};
  ASSERT_EQ(player.start(initialising())->wait()->status, 0);
  auto lock = std::make_unique<HeldLock>(player.database());
  const auto game = player.start(kDebug + initialising() + designs(0, 1) + "[\"@drain\"]\n");
  ASSERT_EQ(game->wait()->status, 0);
  EXPECT_THAT(game->errors(), HasSubstr("database is locked"));
  lock.reset();
  ASSERT_EQ(player.start(initialising() + designs(1, 1) + kSubmit)->wait()->status, 0);
  EXPECT_FALSE(collector.records("design").empty());
}

}  // namespace

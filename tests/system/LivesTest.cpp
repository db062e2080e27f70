// What games live through, and what reaches the collector in the end: killed, leaving in a hurry, without storage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "support/LoopbackServer.h"
#include "support/Sqlite.h"
#include "system/Processes.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using std::filesystem::perms;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

const std::string kDrain = "[\"@drain\"]\n";
const std::string kSubmit = "[\"@submit\"]\n" + kDrain;
const std::string kDebug = "[\"setEnableDebugLog:\",true]\n";

std::map<std::string, int> timesSeen(const std::vector<ZVMap>& records, std::string_view key) {
  std::map<std::string, int> seen;
  for (const ZVMap& record : records) ++seen[describe(*record.find(key))];
  return seen;
}

class Lives : public testing::Test {
 protected:
  // What a game says on standard error, which initialises, plays and ends by itself.
  std::string errorsOf(const std::string& play, const std::string& before = {}, ChildProcess::Limits limits = {}) {
    const auto game = player.start(before + initialising() + play, limits);
    const auto ending = game->wait();
    EXPECT_TRUE(ending && ending->status == 0) << game->errors();
    return game->errors();
  }

  TemporaryFolder folder;
  RunningCollector collector{folder};
  Player player{folder, collector.url()};
};

TEST_F(Lives, ThatAreKilledSendAllThatWasStoredOnceAndTheSessionsEndWithItsLength) {
  const auto killed = player.start(initialising() + designs(0, 20) + kDrain + "[\"@wait\",2.1]\n" + designs(20, 20) +
                                   kDrain + "[\"@kill\"]\n" + designs(40, 5));
  ASSERT_EQ(killed->wait()->signal, SIGKILL);
  EXPECT_THAT(collector.records("design"), SizeIs(0));
  errorsOf(kSubmit);
  EXPECT_THAT(timesSeen(collector.records("design"), "event_id"),
              AllOf(SizeIs(40), Each(testing::Pair(testing::_, 1))));
  const auto ends = collector.records("session_end");
  ASSERT_THAT(ends, SizeIs(1));
  const auto starts = collector.records("user");
  ASSERT_THAT(starts, SizeIs(2));
  EXPECT_EQ(*ends[0].find("session_id"), *starts[0].find("session_id"));
  EXPECT_THAT(*ends[0].find("length")->ifInteger(), AllOf(testing::Ge(2), testing::Le(4)));
  EXPECT_EQ(timesSeen(starts, "session_num"), (std::map<std::string, int>{{"1", 1}, {"2", 1}}));
  EXPECT_EQ(describe(*collector.summary().find("rejected")), "0");
}

TEST_F(Lives, ThatExitLeaveAThousandCallsOnDiskAlsoWhileTheCollectorHangs) {
  LoopbackServer hanging;
  hanging.hang();
  for (const std::string& url : {hanging.url(""), std::string("http://127.0.0.1:1")}) {
    const Player away{folder, url, url.ends_with(":1") ? "refused" : "hangs"};
    std::string game = initialising();
    game.erase(game.rfind(kDrain));  // the init call is still in flight when the game leaves
    const auto process = away.start(game + designs(0, 1000));
    const auto ending = process->wait();
    ASSERT_TRUE(ending) << "it hangs with " << url;
    EXPECT_EQ(ending->status, 0) << process->errors();
    EXPECT_EQ(countRows(away.database(), "SELECT count(*) FROM zv_events WHERE category = 'design' AND status = 'new'"),
              1000U)
        << url;
  }
}

TEST_F(Lives, ThatExitWaitUntilTheSessionEndOfTheBackgroundIsSent) {
  errorsOf(designs(0, 300) + "[\"@background\"]\n");
  EXPECT_THAT(collector.records("design"), SizeIs(300));  // reported before the background, so they count
  EXPECT_THAT(collector.records("session_end"), SizeIs(1));
  EXPECT_EQ(countRows(player.database(), "SELECT count(*) FROM zv_session"), 0U);
}

TEST_F(Lives, ThatFlushRightBeforeTheyExitHaveSentWhatTheyReported) {
  errorsOf(designs(0, 300) + "[\"flush\"]\n");
  EXPECT_THAT(collector.records("design"), SizeIs(300));
}

// Whether the collector answers, hangs or isn't there, the game ends and what it reported is on disk.
TEST(WholeLife, ReportsFromEveryCornerOfAProcess) {
  LoopbackServer answering, hanging;
  hanging.hang();
  for (const int port : {answering.port(), hanging.port(), 9}) {
    SCOPED_TRACE(port == 9 ? "nobody listens" : port == hanging.port() ? "it hangs" : "it answers");
    const TemporaryFolder folder;
    ChildProcess game(folder.path(), {ZORVANE_WHOLE_LIFE}, folder.file("data") + ' ' + std::to_string(port) + '\n');
    const auto ending = game.wait();
    ASSERT_TRUE(ending) << "the game does not end";
    EXPECT_EQ(ending->status, 0) << "signal " << ending->signal << '\n' << game.errors();
    for (const std::string corner : {"constructor", "main", "detached", "atexit", "destructor", "child"})
      EXPECT_EQ(countRows(folder.file("data/zorvane.sqlite"),
                          "SELECT count(*) FROM zv_events WHERE event LIKE '%\"from:" + corner + "\"%'"),
                corner == "child" ? 0U : 1U)
          << corner;
  }
}

TEST_F(Lives, WithoutAFolderSaySoAndStopNothingElse) {
  std::ofstream(folder.file("data")) << "a file where the folder should be";
  EXPECT_THAT(errorsOf(designs(0, 1)), AllOf(HasSubstr("Could not ensure/validate local event database"),
                                             HasSubstr("Could not add design event: Datastore not initialized")));
}

// Root may write everywhere: where these tests run as root, the game runs as nobody.
TEST_F(Lives, WithAFileThatCanNotBeWrittenSaySoAndLeaveItWhereItIs) {
  errorsOf(designs(0, 1) + kDrain);
  std::filesystem::permissions(folder.path(), perms::all);
  for (const auto& entry : std::filesystem::directory_iterator(folder.file("data")))
    std::filesystem::permissions(entry, perms::owner_read | perms::group_read | perms::others_read);
  std::filesystem::permissions(folder.file("data"), perms::all);
  EXPECT_THAT(errorsOf(designs(1, 1), {}, {.fileSize = {}, .user = 65534}),
              AllOf(HasSubstr("Warning/ZV/Analytics: The event database can't be written: "),
                    HasSubstr("Could not add design event: Datastore not initialized")));
  EXPECT_FALSE(std::filesystem::exists(player.database() + ".damaged"));
}

TEST_F(Lives, OnAFullDiskLoseEventsButNotTheDatabase) {
  EXPECT_THAT(errorsOf(designs(0, 2000) + kDrain, kDebug, {.fileSize = 200'000, .user = {}}), HasSubstr("SQLITE3 "));
  errorsOf(designs(5000, 3) + kSubmit);
  EXPECT_GT(collector.records("design").size(), 3U);  // what had fitted, and what came once there was room again
}

TEST_F(Lives, WithALockedFileWaitForItThenReport) {
  errorsOf("");
  auto lock = lockDatabase(player.database());
  EXPECT_THAT(errorsOf(designs(0, 1) + kDrain, kDebug), HasSubstr("database is locked"));
  lock.reset();
  errorsOf(designs(1, 1) + kSubmit);
  EXPECT_FALSE(collector.records("design").empty());
}

}  // namespace

// What games live through, and what reaches the collector in the end: killed, leaving in a hurry, without storage.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "support/Game.h"
#include "support/Sqlite.h"
#include "system/Processes.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using std::filesystem::perms;
using namespace testing;

const std::string kDrain = "[\"@drain\"]\n";
const std::string kSubmit = "[\"@submit\"]\n" + kDrain;
const std::string kDebug = "[\"setEnableDebugLog:\",true]\n";

std::map<std::string, int> timesSeen(const std::vector<ZVMap>& records, std::string_view key) {
  std::map<std::string, int> seen;
  for (const ZVMap& record : records) ++seen[describe(*record.find(key))];
  return seen;
}

// The lines of `count` design events: "n:FIRST", "n:FIRST+1", …
std::string designs(int first, int count) {
  std::string lines;
  for (int i = first; i < first + count; ++i)
    lines += fmt::format("[\"addDesignEventWithEventId:value:\",\"n:{0}\",{0}]\n", i);
  return lines;
}

class Lives : public testing::Test {
 protected:
  // A game that plays `before` and, once its session has begun, `play`.
  ChildProcess start(const std::string& play, const std::string& before = {}, ChildProcess::Limits limits = {}) {
    const auto initialise =
        fmt::format("[\"initializeWithGameKey:gameSecret:\",\"{}\",\"{}\"]\n", Game::kKey, Game::kSecret);
    return ChildProcess(
        folder.path(),
        {ZORVANE_PLAY, "--collector", collector.url(), "--data-dir", folder.file("data"), "--queue-seconds", "3600"},
        before + initialise + kDrain + play, limits);
  }
  // What it says on standard error, when it ends by itself.
  std::string errorsOf(const std::string& play, const std::string& before = {}, ChildProcess::Limits limits = {}) {
    ChildProcess game = start(play, before, limits);
    EXPECT_EQ(game.wait(), 0) << game.errors();
    return game.errors();
  }

  TemporaryFolder folder;
  RunningCollector collector{folder};
  const std::string database = folder.file("data/zorvane.sqlite");
};

TEST_F(Lives, ThatAreKilledSendAllThatWasStoredOnceAndTheSessionsEndWithItsLength) {
  ChildProcess killed = start(designs(0, 20) + kDrain + "[\"@wait\",2.1]\n" + designs(20, 20) + kDrain +
                              "[\"@kill\"]\n" + designs(40, 5));
  ASSERT_EQ(killed.wait(), -SIGKILL);
  EXPECT_THAT(collector.records("design"), SizeIs(0));
  errorsOf(kSubmit);
  EXPECT_THAT(timesSeen(collector.records("design"), "event_id"), AllOf(SizeIs(40), Each(Pair(_, 1))));
  const auto ends = collector.records("session_end");
  ASSERT_THAT(ends, SizeIs(1));
  const auto starts = collector.records("user");
  ASSERT_THAT(starts, SizeIs(2));
  EXPECT_EQ(*ends[0].find("session_id"), *starts[0].find("session_id"));
  EXPECT_THAT(*ends[0].find("length")->ifInteger(), AllOf(Ge(2), Le(4)));
  EXPECT_EQ(timesSeen(starts, "session_num"), (std::map<std::string, int>{{"1", 1}, {"2", 1}}));
  EXPECT_EQ(collector.refused(), "[]");
}

TEST_F(Lives, ThatExitInTheBackgroundOrAfterAFlushHaveSentWhatTheyReported) {
  errorsOf(designs(0, 300) + "[\"@background\"]\n");
  EXPECT_THAT(collector.records("design"), SizeIs(300));  // reported before the background, so they count
  EXPECT_THAT(collector.records("session_end"), SizeIs(1));
  EXPECT_EQ(countRows(database, "SELECT count(*) FROM zv_session"), 0U);
  errorsOf(designs(300, 300) + "[\"flush\"]\n");
  EXPECT_THAT(collector.records("design"), SizeIs(600));
}

// Whether the collector answers, hangs or isn't there, the game ends and what it reported is on disk.
TEST(WholeLife, ReportsFromEveryCornerOfAProcess) {
  LoopbackServer answering, hanging;
  hanging.hang();
  for (const int port : {answering.port(), hanging.port(), 9}) {
    SCOPED_TRACE(port == 9 ? "nobody listens" : port == hanging.port() ? "it hangs" : "it answers");
    const TemporaryFolder folder;
    ChildProcess game(folder.path(), {ZORVANE_WHOLE_LIFE}, folder.file("data") + ' ' + std::to_string(port) + '\n');
    ASSERT_EQ(game.wait(), 0) << game.errors();
    using Case = std::pair<std::string, std::size_t>;
    for (const auto& [corner, count] : {Case{"constructor", 1}, Case{"main", 1000}, Case{"detached", 1},
                                        Case{"atexit", 1}, Case{"destructor", 1}, Case{"child", 0}})
      EXPECT_EQ(countRows(folder.file("data/zorvane.sqlite"),
                          "SELECT count(*) FROM zv_events WHERE event LIKE '%\"from:" + corner + "\"%'"),
                count)
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
  EXPECT_FALSE(std::filesystem::exists(database + ".damaged"));
}

TEST_F(Lives, OnAFullDiskLoseEventsButNotTheDatabase) {
  EXPECT_THAT(errorsOf(designs(0, 2000) + kDrain, kDebug, {.fileSize = 200'000, .user = {}}), HasSubstr("SQLITE3 "));
  errorsOf(designs(5000, 3) + kSubmit);
  EXPECT_GT(collector.records("design").size(), 3U);  // what had fitted, and what came once there was room again
}

TEST_F(Lives, WithALockedFileWaitForItThenReport) {
  errorsOf("");
  auto lock = lockDatabase(database);
  EXPECT_THAT(errorsOf(designs(0, 1) + kDrain, kDebug), HasSubstr("database is locked"));
  lock.reset();
  errorsOf(designs(1, 1) + kSubmit);
  EXPECT_FALSE(collector.records("design").empty());
}

}  // namespace

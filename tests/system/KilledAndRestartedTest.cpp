// A game that is killed, that exits in a hurry, that starts again: what reaches the collector in the end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <map>
#include <string>

#include "support/LoopbackServer.h"
#include "support/Sqlite.h"
#include "system/Processes.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using testing::Each;
using testing::Pair;
using testing::SizeIs;

const std::string kSubmit = "[\"@submit\"]\n[\"@drain\"]\n";

std::map<std::string, int> timesSeen(const std::vector<ZVMap>& records, std::string_view key) {
  std::map<std::string, int> seen;
  for (const ZVMap& record : records) ++seen[describe(*record.find(key))];
  return seen;
}

TEST(KilledGame, SendsAllThatWasStoredOnceAndEndsItsSessionWithItsLength) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const Player player{folder, collector.url()};

  const auto killed = player.start(initialising() + designs(0, 20) + "[\"@drain\"]\n[\"@wait\",2.1]\n" +
                                   designs(20, 20) + "[\"@drain\"]\n[\"@kill\"]\n" + designs(40, 5));
  ASSERT_EQ(killed->wait()->signal, SIGKILL);
  EXPECT_THAT(collector.records("design"), SizeIs(0));
  ASSERT_EQ(player.start(initialising() + kSubmit)->wait()->status, 0);

  EXPECT_THAT(timesSeen(collector.records("design"), "event_id"),
              testing::AllOf(SizeIs(40), Each(Pair(testing::_, 1))));
  const auto ends = collector.records("session_end");
  ASSERT_THAT(ends, SizeIs(1));
  const auto starts = collector.records("user");
  ASSERT_THAT(starts, SizeIs(2));
  EXPECT_EQ(*ends[0].find("session_id"), *starts[0].find("session_id"));
  EXPECT_THAT(*ends[0].find("length")->ifInteger(), testing::AllOf(testing::Ge(2), testing::Le(4)));
  EXPECT_EQ(timesSeen(starts, "session_num"), (std::map<std::string, int>{{"1", 1}, {"2", 1}}));
  EXPECT_EQ(describe(*collector.summary().find("rejected")), "0");
}

TEST(ExitingGame, LeavesAThousandCallsOnDiskAlsoWhileTheCollectorHangs) {
  LoopbackServer hanging;
  hanging.hang();
  for (const std::string& url : {hanging.url(""), std::string("http://127.0.0.1:1")}) {
    const TemporaryFolder folder;
    const Player player{folder, url};
    std::string game = initialising();
    game.erase(game.rfind("[\"@drain\"]"));  // the init call is still in flight when the game leaves
    const auto process = player.start(game + designs(0, 1000));
    const auto ending = process->wait();
    ASSERT_TRUE(ending) << "it hangs with " << url;
    EXPECT_EQ(ending->status, 0) << process->errors();
    EXPECT_EQ(
        countRows(player.database(), "SELECT count(*) FROM zv_events WHERE category = 'design' AND status = 'new'"),
        1000U)
        << url;
  }
}

TEST(ExitingGame, WaitsUntilTheSessionEndOfTheBackgroundIsSent) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const Player player{folder, collector.url()};
  ASSERT_EQ(player.start(initialising() + designs(0, 300) + "[\"@background\"]\n")->wait()->status, 0);
  EXPECT_THAT(collector.records("design"), SizeIs(300));  // reported before the background, so they count
  EXPECT_THAT(collector.records("session_end"), SizeIs(1));
  EXPECT_EQ(countRows(player.database(), "SELECT count(*) FROM zv_session"), 0U);
}

TEST(TwoGames, OnOneDatabaseLoseNothing) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  const Player player{folder, collector.url()};
  ASSERT_EQ(player.start(initialising())->wait()->status, 0);
  const auto one = player.start(initialising() + designs(0, 200) + "[\"@drain\"]\n");
  const auto two = player.start(initialising() + designs(200, 200) + "[\"@drain\"]\n");
  ASSERT_EQ(one->wait()->status, 0);
  ASSERT_EQ(two->wait()->status, 0);
  ASSERT_EQ(player.start(initialising() + kSubmit)->wait()->status, 0);
  EXPECT_THAT(timesSeen(collector.records("design"), "event_id"), SizeIs(400));
}

}  // namespace

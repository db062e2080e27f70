// A game that is killed, that exits in a hurry, that starts again: what reaches the collector in the end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <string>
#include <thread>

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

// A collector's port whose connections are accepted by the kernel and never answered.
class SilentPort {
 public:
  SilentPort() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(socket_, reinterpret_cast<sockaddr*>(&address), size);
    listen(socket_, 64);
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~SilentPort() { close(socket_); }
  SilentPort(const SilentPort&) = delete;
  SilentPort& operator=(const SilentPort&) = delete;

  std::string url;

 private:
  int socket_;
};

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

TEST(KilledGame, LosesNothingThatWasStoredWhateverTheMoment) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  std::string game = initialising();
  for (int round = 0; round < 10; ++round) game += designs(round * 50, 50) + "[\"@submit\"]\n";
  game += "[\"@drain\"]\n";

  for (int i = 0; i < 12; ++i) {
    const Player player{folder, collector.url(), "data" + std::to_string(i)};
    const auto victim = player.start(game);
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + 11 * i));  // wherever that falls
    victim->kill(SIGKILL);
    victim->wait();
    std::size_t pending = 0;
    if (std::filesystem::exists(player.database()))
      pending = countRows(player.database(), "SELECT count(*) FROM zv_events WHERE category = 'design'");

    const auto before = collector.records("design");
    ASSERT_EQ(player.start(initialising() + kSubmit)->wait()->status, 0);
    const auto after = collector.records("design");
    EXPECT_EQ(after.size() - before.size(), pending) << "killed at moment " << i;
    EXPECT_EQ(countRows(player.database(), "SELECT count(*) FROM zv_events WHERE category = 'design'"), 0U);
  }
  EXPECT_EQ(describe(*collector.summary().find("rejected")), "0");
}

TEST(ExitingGame, LeavesAThousandCallsOnDiskAlsoWhileTheCollectorHangs) {
  const SilentPort hanging;
  for (const std::string& url : {hanging.url, std::string("http://127.0.0.1:1")}) {
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

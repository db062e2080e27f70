#include <gmock/gmock.h>

#include <sqlite3.h>
#include <zorvane/Zorvane.h>

#include "codecs/gzip.h"
#include "events/ZVEvents.h"
#include "platform/FolderLock.h"
#include "store/ZVStore.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::IsEmpty;
using testing::SizeIs;
using namespace std::string_literals;

class EventQueue : public testing::Test {
 protected:
  void SetUp() override {
    Zorvane::setEnabledInfoLog(true);
    game.start();
    game.log.clear();
  }

  // Puts rows in the table as they are.
  void store(const std::vector<std::string>& row, int count = 1) {
    game.onQueue([&] {
      for (int i = 0; i < count; ++i)
        ZVStore::executeQuerySyncWithSql("INSERT INTO zv_events VALUES(?, ?, ?, ?, ?)", row);
    });
  }
  void storeMany(int count, const std::string& clientTs) {
    store({"new", "design", "s", clientTs, R"({"category":"design","client_ts":)" + clientTs + "}"}, count);
  }
  void submit() {
    ZVEvents::processEventQueue(false);
    game.settle();
  }
  std::size_t pending() { return game.query("SELECT 1 FROM zv_events WHERE status = 'new'").size(); }

  Game game;
};

TEST_F(EventQueue, BatchesTheOldestFiveHundredAndTheirWholeLastSecond) {
  struct Case {
    std::vector<std::pair<int, std::string>> stored;  // how many with which timestamp, in storing order
    std::size_t sent;
  };
  for (const auto& [stored, sent] :
       {Case{{{500, "1700000001"}}, 500}, Case{{{1, "1700000002"}, {500, "1700000001"}}, 500},
        Case{{{499, "1700000001"}, {2, "1700000002"}, {99, "1700000003"}}, 501}, Case{{{600, "1700000001"}}, 600}}) {
    game.query("DELETE FROM zv_events");
    std::size_t all = 0;
    for (const auto& [count, clientTs] : stored) {
      storeMany(count, clientTs);
      all += static_cast<std::size_t>(count);
    }
    submit();
    EXPECT_THAT(Game::eventsOf(game.collector.requests().back()), SizeIs(sent));
    EXPECT_EQ(pending(), all - sent);
  }
}

TEST_F(EventQueue, CutsABatchAtItsBytesToo) {
  constexpr std::size_t kMiB = std::size_t{1} << 20;
  const auto event = [](std::size_t bytes) {
    const std::string frame = R"({"category":"design","text":""})";
    return R"({"category":"design","text":")" + std::string(bytes - frame.size(), 'x') + "\"}";
  };
  struct Case {
    std::vector<std::size_t> stored;  // bytes, all of one second
    std::vector<std::size_t> sent;    // how many with each request
  };
  for (const auto& [stored, sent] :
       {Case{{kMiB, kMiB, kMiB, kMiB - 6}, {4}}, Case{{kMiB, kMiB, kMiB, kMiB - 5}, {3, 1}},
        Case{{9 * kMiB, 10, 9 * kMiB}, {1, 1, 1}}, Case{{100, 9 * kMiB, 100, 100}, {1, 1, 2}}}) {
    const std::size_t before = game.collector.requests().size();
    for (const std::size_t bytes : stored)
      store({"new", "design", "s", "1700000001", event(std::max<std::size_t>(bytes, 40))});
    for (std::size_t i = 0; i < sent.size(); ++i) submit();
    const auto requests = game.collector.requests();
    ASSERT_EQ(requests.size(), before + sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i)
      EXPECT_THAT(Game::eventsOf(requests[before + i]), SizeIs(sent[i])) << i;
    EXPECT_EQ(pending(), 0U);
  }
}

TEST_F(EventQueue, SendsRowsWhateverTheirTimestampIs) {
  for (const char* clientTs : {"'17''00'", "''", "'\"'", "'-1'", "9223372036854775807", "x'31'", "x'ff'", "1e300"})
    game.query(std::string("INSERT INTO zv_events VALUES('new', 'design', 's', ") + clientTs +
               R"(, '{"category":"design"}'))");
  storeMany(600, "1700000001");
  submit();
  submit();
  EXPECT_EQ(pending(), 0U);
  EXPECT_THAT(game.sent("design"), SizeIs(608));
}

TEST_F(EventQueue, TakesAStartAlongWithItsEndSoThatNoSecondOneIsMadeOfIt) {
  const auto insert = [&](const std::string& status, const std::string& category, const std::string& session,
                          const std::string& clientTs) {
    store({status, category, session, clientTs,
           R"({"session_id":")" + session + R"(","category":")" + category + R"(","client_ts":)" + clientTs + "}"});
  };
  insert("new", "user", "clock-went-back", "1700009000");
  insert("new", "session_end", "clock-went-back", "1600000000");
  insert("0E984725-C51C-4BF4-9960-E1C80E27ABA0", "user", "run-was-killed", "1600000000");
  insert("new", "session_end", "run-was-killed", "1600000001");
  storeMany(510, "1700000000");
  storeMany(10, "1700000001");
  game.onQueue([] { ZVEvents::processEventsWithCategory(nullptr, false); });
  submit();
  submit();
  EXPECT_THAT(game.sent("session_end"), SizeIs(2));
}

TEST_F(EventQueue, KeepsABatchOnlyWhenNoAnswerCame) {
  const auto answered = [&](int status, const std::string& body, const std::string& line) {
    game.log.clear();
    storeMany(10, "1700000001");
    game.collector.answerOnly(LoopbackServer::kEvents, {status, body});
    submit();
    EXPECT_TRUE(game.log.contains("Event queue: " + line)) << status << body;
    EXPECT_THAT(game.query("SELECT 1 FROM zv_events"), IsEmpty()) << status << body;
  };
  answered(200, "[]", "10 events sent.");
  answered(400, R"([{"index":1},{"index":2},{"index":5}])", "10 events sent. 3 events failed ZV server validation.");
  for (const char* body : {R"({"error":"all"})", "<html>"}) answered(400, body, "Failed to send events.");
  for (const int status : {201, 401, 500, 418}) answered(status, "[]", "Failed to send events.");
  answered(200, "", "Failed to send events.");
  storeMany(10, "1700000001");
  game.collector.tear();
  submit();
  EXPECT_TRUE(game.log.contains("Event queue: Failed to send events to collector - Retrying next time"));
  EXPECT_EQ(pending(), 10U);
  game.collector.resume();
  game.collector.answerOnly(LoopbackServer::kEvents, {200, "[]"});
  submit();
  EXPECT_EQ(pending(), 0U);
  EXPECT_THAT(Game::eventsOf(game.collector.requests().back()), SizeIs(10));
}

TEST_F(EventQueue, ReturnsRowsThatAnEarlierRunLeftInFlight) {
  store({"0E984725-C51C-4BF4-9960-E1C80E27ABA0", "design", "s", "1700000001", R"({"category":"design"})"});
  game.onQueue([] { ZVEvents::processEventsWithCategory("design", false); });
  EXPECT_EQ(pending(), 0U);
  EXPECT_THAT(game.query("SELECT 1 FROM zv_events"), SizeIs(1));
  submit();
  EXPECT_THAT(game.query("SELECT 1 FROM zv_events"), IsEmpty());
}

// What another hand wrote goes out as the library writes it.
TEST_F(EventQueue, LeavesOutWhatIsNoEventAndTimestampsThatCanNotBe) {
  for (const std::string& event :
       {R"({"event_id":"bad","client_ts":100000000000})"s, "no json"s, "[1]"s,
        R"({"event_id":"edge","client_ts":99999999999})"s, R"({"client_ts":-1,"event_id":"negative"})"s,
        R"({"client_ts":"1700000001x"})"s, R"({"client_ts":0})"s, R"( {"a" : 1.50, "b" : "\u0041/", "a" : 2e3} )"s,
        R"({"deep":)" + std::string(511, '[') + std::string(511, ']') + "}",  // a batch could not hold it
        R"({"last":"a\/b\n","client_ts":1700000001})"s})
    store({"new", "design", "s", "1", event});
  submit();
  EXPECT_EQ(decompress(game.collector.requests().back().body),
            R"([{"event_id":"bad"},{"event_id":"edge","client_ts":99999999999},{"event_id":"negative"},)"
            R"({"client_ts":"1700000001x"},{},{"a":2000,"b":"A\/"},{"last":"a\/b\n","client_ts":1700000001}])");
  EXPECT_THAT(game.query("SELECT 1 FROM zv_events"), IsEmpty());
}

// What statements of the library's connection do.
class Steps {
 public:
  Steps() { sqlite3_trace_v2(ZVStore::getDatabase(), SQLITE_TRACE_PROFILE, count, this); }
  ~Steps() { sqlite3_trace_v2(ZVStore::getDatabase(), 0, nullptr, nullptr); }
  int ofScans = 0;

 private:
  static int count(unsigned, void* self, void* statement, void*) {
    static_cast<Steps*>(self)->ofScans +=
        sqlite3_stmt_status(static_cast<sqlite3_stmt*>(statement), SQLITE_STMTSTATUS_FULLSCAN_STEP, 1);
    return 0;
  }
};

TEST_F(EventQueue, WritesNothingWithoutAnAnswerAndReadsWhatItSends) {
  for (const char* second : {"1700000001", "1700000002", "1700000003"}) storeMany(500, second);
  game.collector.tear();
  submit();
  const auto changes = [&] { return game.query("SELECT total_changes() AS n").front().textOf("n"); };
  const std::string before = changes();
  int scanned = 0;
  {
    const Steps steps;
    submit();
    scanned = steps.ofScans;
  }
  EXPECT_EQ(changes(), before);
  EXPECT_GE(scanned, 500);
  EXPECT_LT(scanned, 520);
  game.collector.resume();
  for (const std::size_t left : {1000U, 500U, 0U}) {
    submit();
    EXPECT_EQ(pending(), left);
  }
}

TEST_F(EventQueue, SendsInTheOrderOfTimestampsAgainOnceTheClockHasGoneBack) {
  storeMany(600, "1700000005");
  game.collector.tear();
  submit();
  game.collector.resume();
  game.platform.clock->set(1'600'000'000);
  Zorvane::addDesignEventWithEventId("before:all");
  submit();
  const auto events = Game::eventsOf(game.collector.requests().back());
  EXPECT_EQ(shown(events.back(), "event_id"), "before:all");
}

TEST_F(EventQueue, LeavesSendingToTheProcessThatIsAtIt) {
  storeMany(1, "1700000001");
  const std::size_t before = game.collector.requests().size();
  {
    FolderLock other(game.platform.folder.path(), "zorvane.sqlite.sending");
    ASSERT_EQ(other.takeAlone({}), FolderLock::Outcome::held);
    submit();
    EXPECT_EQ(game.collector.requests().size(), before);
    EXPECT_EQ(pending(), 1U);
  }
  submit();
  EXPECT_EQ(pending(), 0U);
}

TEST_F(EventQueue, RunsEveryEightSecondsCountedFromTheEndOfTheLastRun) {
  ASSERT_EQ(game.platform.loop->timers(), 1U);
  storeMany(1, "1700000001");
  game.platform.loop->advance(7.9);
  game.settle();
  EXPECT_EQ(pending(), 1U);
  game.platform.loop->advance(0.2);
  game.settle();
  EXPECT_EQ(pending(), 0U);
  EXPECT_EQ(game.platform.loop->timers(), 1U) << "armed again";
  submit();  // without a timer: once, and the timer's turn is over
  EXPECT_EQ(game.platform.loop->timers(), 0U);
}

TEST_F(EventQueue, RefreshesTheSessionsSnapshotWhenNothingIsPending) {
  const auto lastSeen = [&] {
    return std::stoll(game.query("SELECT json_extract(event, '$.client_ts') AS ts FROM zv_session").at(0).textOf("ts"));
  };
  const auto before = lastSeen();
  game.platform.clock->advance(30);
  submit();
  EXPECT_TRUE(game.log.contains("Event queue: No events to send"));
  EXPECT_EQ(lastSeen(), before + 30);
}

TEST_F(EventQueue, GivesBackTheRoomOfWhatWasSentSoThatEventsAreTakenAgain) {
  for (int i = 0; i < 200; ++i) Zorvane::addErrorEventWithSeverity(ZVErrorSeverity::info, std::string(8000, 'm'));
  game.settle();
  game.onQueue([] {
    EXPECT_GT(ZVStore::getDbSize(), 1'000'000);
    ZVStore::sharedInstance().maxDbSizeBytes = 1'000'000;
  });
  submit();
  Zorvane::addDesignEventWithEventId("after:all");
  game.settle();
  EXPECT_EQ(pending(), 1U);
}

}  // namespace

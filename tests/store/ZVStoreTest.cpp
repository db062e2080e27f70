#include <gmock/gmock.h>

#include <filesystem>

#include "runtime/CrashHandling.h"
#include "state/ZVState.h"
#include "store/Database.h"
#include "store/ZVStore.h"
#include "support/Game.h"
#include "support/Sqlite.h"

using namespace zorvane;

namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(Queries, RunOnTheWorkQueueAloneUnlessACrashIsHandled) {
  Game game;
  EXPECT_FALSE(ZVStore::executeQuerySyncWithSql("DELETE FROM zv_state"));
  EXPECT_EQ(game.log.count("Debug/ZV/Analytics: Trying to execute query on non-ZVThread"), 1U);
  EXPECT_EQ(game.log.count("Debug/ZV/Analytics: Not on ZVThread"), 1U);
  const CrashHandling handling;
  EXPECT_TRUE(ZVStore::executeQuerySyncWithSql("DELETE FROM zv_state"));
}

TEST(Queries, AnswerWithRowsOrWithNothing) {
  Game game;
  game.onQueue([&] {
    const auto run = [](const char* sql) { return ZVStore::executeQuerySyncWithSql(sql); };
    const std::string odd("a\0v'\"; --", 9);
    EXPECT_TRUE(ZVStore::executeQuerySyncWithSql("insert into zv_state values(?, ?)", {"k", odd}));
    EXPECT_TRUE(run("INSERT INTO zv_state(key) VALUES('null')"));
    const auto rows = run("SELECT key, value FROM zv_state ORDER BY key").value_or(ZVStore::Rows());
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(*rows[0].find("value"), odd);
    EXPECT_EQ(rows[1].find("value"), nullptr);

    EXPECT_FALSE(run("INSERT INTO zv_state VALUES('k', 'again')"));
    EXPECT_TRUE(game.log.contains("SQLITE3 FINALIZE ERROR: UNIQUE constraint failed"));
    EXPECT_FALSE(ZVStore::executeQuerySyncWithSql("SELEKT", {}, true));
    EXPECT_TRUE(game.log.contains("SQLITE3 PREPARE ERROR: "));
    EXPECT_TRUE(run("UPDATE zv_state SET value = 'x' WHERE key = 'k'")) << "no transaction was left open";
    EXPECT_TRUE(run("BEGIN"));
    EXPECT_FALSE(run("DELETE FROM zv_state"));
    EXPECT_TRUE(game.log.contains("SQLITE3 BEGIN ERROR: "));
    EXPECT_TRUE(run("ROLLBACK"));

    EXPECT_TRUE(ZVStore::ensureDatabase(true));
    EXPECT_THAT(run("SELECT * FROM zv_state"), testing::Optional(IsEmpty()));
  });
  std::optional<std::string> failure;
  ZVStore::executeQueryWithSql("SELECT * FROM nowhere", [&](const auto&, const auto& error) { failure = error; });
  game.settle();
  EXPECT_EQ(failure, "no such table: nowhere");
}

TEST(Opening, ReplacesEachTableThatCanNotBeReadAndKeepsTheOthers) {
  using Case = std::pair<std::string, std::string>;
  for (const auto& [table, named] : {Case{"zv_events", "zv_events"}, Case{"zv_session", "zv_session"},
                                     Case{"zv_state", "zv_state"}, Case{"zv_progression", "zv_state"}}) {
    Game game;
    game.query("DROP TABLE " + table);
    game.query("CREATE TABLE " + table + "(other TEXT)");
    game.log.clear();
    game.restart();
    EXPECT_EQ(game.log.count(named + " corrupt, recreating."), 1U) << table;
    EXPECT_EQ(game.log.count("corrupt"), 1U) << table;
    EXPECT_TRUE(ZVStore::sharedInstance().tableReady) << table;
  }
}

TEST(Trimming, DeletesTheThreeSessionsWhoseLatestEventIsOldest) {
  Game game;
  game.onQueue([&] {
    const auto insert = [](const std::string& session, const std::string& clientTs) {
      ZVStore::executeQuerySyncWithSql("INSERT INTO zv_events VALUES('new', 'design', ?, ?, ?)",
                                       {session, clientTs, std::string(10'000, ' ')});
    };
    insert("early-but-alive", "100");
    insert("early-but-alive", "900");
    insert("second", "300");
    insert("first", "200");
    insert("", "400");
    insert("fourth", "500");
    ZVStore& store = ZVStore::sharedInstance();
    ZVStore::giveRoomBack();
    const auto full = ZVStore::getDbSize();
    store.maxDbSizeBytesBeforeTrim = full;
    EXPECT_FALSE(ZVStore::trimEventTable()) << "at the limit";
    store.maxDbSizeBytesBeforeTrim -= 1;
    EXPECT_TRUE(ZVStore::trimEventTable());
    EXPECT_LT(ZVStore::getDbSize(), full - 20'000) << "what was deleted is given back";
    EXPECT_EQ(
        game.log.count("Warning/ZV/Analytics: Database too large when initializing. Deleting the oldest 3 sessions."),
        1U);
  });
  const auto left = game.query("SELECT DISTINCT session_id FROM zv_events ORDER BY session_id");
  ASSERT_THAT(left, SizeIs(2));
  EXPECT_EQ(left[0].textOf("session_id") + ' ' + left[1].textOf("session_id"), "early-but-alive fourth");
}

// Another process deletes, stores and renumbers while the request is on its way.
TEST(Batches, RemoveTheRecordsThatWereSentWhereverTheyStandByThen) {
  Game game;
  game.onQueue([&] {
    for (const char* record : {"first", "second", "third"})
      ZVStore::executeQuerySyncWithSql("INSERT INTO zv_events VALUES('new', 'design', 's', '1', ?)", {record});
    auto batch = ZVStore::takeBatch({});
    ASSERT_TRUE(batch);
    EXPECT_THAT(batch->records, testing::ElementsAre("first", "second", "third"));
    for (const char* sql : {"DELETE FROM zv_events WHERE event = 'first'", "VACUUM",
                            "INSERT INTO zv_events VALUES('new', 'design', 't', '1', 'of the other')"})
      execute(ZVStore::sharedInstance().database->path, sql);
    ZVStore::removeBatch(*std::move(batch));
  });
  const auto left = game.query("SELECT event FROM zv_events");
  ASSERT_THAT(left, SizeIs(1));
  EXPECT_EQ(left.front().textOf("event"), "of the other");
}

// A batch that was sent and can't be removed must not be sent again.
TEST(Batches, ThatCanNotBeRemovedAreRemovedBeforeOthersAreTaken) {
  Game game;
  game.onQueue([&] {
    ZVStore::executeQuerySyncWithSql("INSERT INTO zv_events VALUES('new', 'design', 's', '1', 'sent')");
    auto batch = ZVStore::takeBatch({});
    ASSERT_TRUE(batch);
    ZVStore::executeQuerySyncWithSql(
        "CREATE TRIGGER keep BEFORE DELETE ON zv_events BEGIN SELECT RAISE(ABORT, 'no'); END");
    ZVStore::removeBatch(*std::move(batch));
    EXPECT_FALSE(ZVStore::takeBatch({}));
    ZVStore::executeQuerySyncWithSql("DROP TRIGGER keep");
    ZVStore::executeQuerySyncWithSql("INSERT INTO zv_events VALUES('new', 'design', 's', '1', 'later')");
    const auto next = ZVStore::takeBatch({});
    ASSERT_TRUE(next);
    EXPECT_THAT(next->records, testing::ElementsAre("later"));
  });
}

TEST(TheTelevision, KeepsItsStateInTheUserDefaultsAndNoTries) {
  Game game([](ZVPlatform& platform) { platform.television = true; });
  game.onQueue([&] {
    ASSERT_TRUE(ZVStore::sharedInstance().tableReady);
    EXPECT_EQ(ZVStore::getDbSize(), 0);
    EXPECT_FALSE(std::filesystem::exists("file::memory:"));
    ZVStore::persistStateDimension01WithValue("ninja");
    ZVStore::persistStateSessionNumWithValue("7");
    ZVStore::persistStateCachedConfigWithValue("{}");
    ZVState::incrementProgressionTries("world1");
    ZVStore::persistProgressionTries("1", "world1");
    ZVStore::clearStoredProgressionTriesForProgressionId("world1");
    for (const char* table : {"zv_state", "zv_progression"})
      EXPECT_THAT(ZVStore::executeQuerySyncWithSql(std::string("SELECT * FROM ") + table),
                  testing::Optional(IsEmpty()));
    EXPECT_EQ(ZVState::getProgressionTries("world1"), 0);
    ZVState::ensurePersistedStates();
    EXPECT_EQ(ZVState::getDimension01(), "ninja");
    EXPECT_EQ(ZVState::getSessionNum(), 7);
    ZVStore::persistStateDimension01WithValue({});
  });
  EXPECT_EQ(game.log.count("on TVos - cannot. Skipping."), 3U);
  EXPECT_EQ(game.log.count("Trying to cache config init data on TVos - cannot. Skipping."), 1U);
}

}  // namespace

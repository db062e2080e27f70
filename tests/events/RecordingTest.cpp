#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "support/Game.h"

namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(Recording, BlocksOrdinaryEventsWhenTheDatabaseIsTooLarge) {
  Game game;
  game.start();
  struct Case {
    std::string category;
    bool stored;
  };
  for (const auto& [category, stored] : {Case{"design", false}, Case{"users", false}, Case{"xbusiness", false},
                                         Case{"user", true}, Case{"session_end", true}, Case{"business", true}}) {
    game.onQueue([&] {
      ZVStore::sharedInstance().maxDbSizeBytes = ZVStore::getDbSize() - 1;
      ZVEvents::addEventToStoreWithEventData({{"category", category}, {"event_id", "x"}});
    });
    EXPECT_EQ(game.stored(category).size(), stored ? 1U : 0U) << category;
  }
  EXPECT_EQ(game.log.count("Database too large. Event has been blocked."), 3U);
  ASSERT_TRUE(game.collector.waitForRequests(2 + 3));
  for (const ZVMap& error : game.sdkErrors()) {
    EXPECT_EQ(shown(error, "error_category") + ":" + shown(error, "error_area") + ":" + shown(error, "error_action"),
              "db:add_events_to_store:db_too_large");
    EXPECT_EQ(shown(error, "reason"), "(none)");
  }
  game.onQueue([] {  // at exactly the limit it is not too large
    ZVStore::sharedInstance().maxDbSizeBytes = ZVStore::getDbSize();
    ZVEvents::addEventToStoreWithEventData({{"category", "design"}});
  });
  EXPECT_THAT(game.stored("design"), SizeIs(1));
}

TEST(Recording, LetsAnEventsOwnFieldsWinAndKeepsTheSnapshotInStep) {
  Game game;
  game.start();
  game.onQueue([] {
    ZVEvents::addEventToStoreWithEventData({{"category", "design"}, {"session_id", "mine"}, {"client_ts", 12.0}});
  });
  const auto rows = game.query("SELECT session_id, client_ts, status FROM zv_events WHERE category = 'design'");
  ASSERT_THAT(rows, SizeIs(1));
  EXPECT_EQ(*rows[0].find("session_id"), "mine");
  EXPECT_EQ(*rows[0].find("client_ts"), "12");
  EXPECT_EQ(*rows[0].find("status"), "new");
  EXPECT_THAT(game.query("SELECT * FROM zv_session"), SizeIs(1));
  game.onQueue([] { ZVEvents::addEventToStoreWithEventData({{"category", "session_end"}}); });
  EXPECT_THAT(game.query("SELECT * FROM zv_session"), IsEmpty());
}

TEST(SessionStart, SaysOnceThatItIsAnInstall) {
  Game game;
  game.start();
  EXPECT_EQ(shown(game.sent("user")[0], "install"), "1");
  ZVPlatform::applicationWillEnterForeground();
  game.settle();
  EXPECT_EQ(shown(game.sent("user").at(1), "install"), "(none)");
  game.restart();
  game.start();
  EXPECT_EQ(shown(game.sent("user").at(2), "install"), "(none)");
  EXPECT_EQ(shown(game.sent("user").at(2), "session_num"), "3");
}

TEST(MissingSessionEnd, SkipsASnapshotThatCanNotBeReadAndKeepsIt) {
  Game game;
  game.start();
  game.onQueue([] {
    ZVStore::executeQuerySyncWithSql("INSERT INTO zv_session VALUES('torn', '1', 'no json')");
    ZVStore::executeQuerySyncWithSql(
        R"(INSERT INTO zv_session VALUES('early', '100', '{"v":2,"session_id":"early","client_ts":40}'))");
    ZVEvents::fixMissingSessionEndEvents();
  });
  const auto ends = game.stored("session_end");
  ASSERT_THAT(ends, SizeIs(1));
  EXPECT_EQ(shown(ends[0], "session_id"), "early");
  EXPECT_EQ(shown(ends[0], "length"), "0");
  EXPECT_TRUE(
      game.log.contains("While fixing missing session end event; the session length was calculated to be less"));
  EXPECT_THAT(game.query("SELECT 1 FROM zv_session WHERE session_id = 'torn'"), SizeIs(1));
}

}  // namespace

#include <gmock/gmock.h>

#include <zorvane/Zorvane.h>

#include "events/ZVEvents.h"
#include "store/ZVStore.h"
#include "support/Game.h"

using namespace zorvane;

namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(Recording, BlocksOrdinaryEventsWhenTheDatabaseIsTooLarge) {
  Game game;
  game.start();
  using Case = std::pair<std::string, bool>;
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

TEST(Recording, RefusesARecordThatIsTooLargeAndNothingElse) {
  Game game;
  game.start();
  const auto add = [&](std::size_t bytes) {
    game.onQueue([&] {
      ZVEvents::addEventToStoreWithEventData({{"category", "design"}, {"text", std::string(bytes, 'x')}});
    });
  };
  add(0);
  const std::size_t frame =
      game.query("SELECT event FROM zv_events WHERE category = 'design'")[0].find("event")->size();
  add(ZVEvents::kMaxRecordBytes - frame);
  EXPECT_THAT(game.stored("design"), SizeIs(2));
  add(ZVEvents::kMaxRecordBytes - frame + 1);
  EXPECT_THAT(game.stored("design"), SizeIs(2));
  EXPECT_EQ(game.log.count("Warning/ZV/Analytics: Could not add event: its record would take 1048577 bytes"), 1U);

  const auto nest = [&](int levels) {
    ZVValue value = 1;
    for (int i = 0; i < levels; ++i) value = ZVValue::Array{std::move(value)};
    game.onQueue([&] { ZVEvents::addEventToStoreWithEventData({{"category", "ads"}, {"deep", std::move(value)}}); });
  };
  nest(510);
  nest(511);
  EXPECT_THAT(game.stored("ads"), SizeIs(1)) << "what is stored fits into a batch";
  EXPECT_EQ(game.log.count("too deep in each other"), 1U);
  ZVEvents::processEventQueue(false);
  game.settle();
  EXPECT_THAT(game.sent("ads"), SizeIs(1));
  EXPECT_THAT(game.sent("design"), SizeIs(2));
}

TEST(Recording, StoresAnEventItsSnapshotAndItsCounterTogetherOrNotAtAll) {
  Game game;
  game.start();
  const auto refuse = [&](const std::string& what) {
    game.query("DROP TRIGGER IF EXISTS refusal");
    game.query("CREATE TRIGGER refusal BEFORE " + what + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
  };
  const auto endSession = [&] {
    game.onQueue([] { ZVEvents::addEventToStoreWithEventData({{"category", "session_end"}}); });
  };
  const auto buy = [&] {
    Zorvane::addBusinessEventWithCurrency("USD", 1, "gems", "small", "shop", ZVText(), {});
    game.settle();
  };
  buy();
  refuse("INSERT ON zv_session");
  buy();
  EXPECT_THAT(game.stored("business"), SizeIs(2)) << "a failing snapshot costs no event";

  refuse("INSERT ON zv_events");
  buy();
  EXPECT_THAT(game.stored("business"), SizeIs(2));
  EXPECT_THAT(game.query("SELECT 1 FROM zv_state WHERE key = 'transaction_num' AND value = '3'"), SizeIs(1))
      << "another run must not use the number again";
  endSession();
  EXPECT_THAT(game.query("SELECT 1 FROM zv_session"), SizeIs(1)) << "the end isn't stored, so its snapshot stays";

  refuse("DELETE ON zv_session");
  endSession();
  EXPECT_THAT(game.stored("session_end"), IsEmpty()) << "or there would be two";
}

TEST(MissingSessionEnd, IsNeverMadeTwiceAndNeverLeftOut) {
  Game game;
  game.start();
  game.collector.hang();
  const auto run = [&](const std::string& sql) { game.query(sql); };
  // Killed between the end and the deletion of the snapshot.
  run(R"(INSERT INTO zv_events VALUES('new', 'session_end', 'ended', '50', '{"session_id":"ended"}'))");
  run(R"(INSERT INTO zv_session VALUES('ended', '10', '{"v":2,"session_id":"ended","client_ts":50}'))");
  // Killed between the start and the snapshot, with and without a later event.
  run(R"(INSERT INTO zv_events VALUES('new', 'user', 'young', '100', )"
      R"('{"session_id":"young","category":"user","install":true,"event_uuid":"u","client_ts":100}'))");
  run(R"(INSERT INTO zv_events VALUES('new', 'user', 'older', '100', )"
      R"('{"session_id":"older","category":"user","event_uuid":"u","client_ts":100}'))");
  run(R"(INSERT INTO zv_events VALUES('new', 'design', 'older', '160', '{"session_id":"older"}'))");
  // Numbers at the end of what 64 bits hold.
  run(R"(INSERT INTO zv_session VALUES('far', '-9223372036854775808', )"
      R"('{"session_id":"far","client_ts":9223372036854775807}'))");
  // A text that was damaged names another session than its row.
  run(R"(INSERT INTO zv_session VALUES('row', '10', '{"session_id":"r\u006fv","client_ts":30}'))");
  run("INSERT INTO zv_session VALUES('torn', '1', 'no json')");
  run(R"(INSERT INTO zv_session VALUES('early', '100', '{"v":2,"session_id":"early","client_ts":40}'))");
  for (int i = 0; i < 2; ++i) game.onQueue([] { ZVEvents::fixMissingSessionEndEvents(); });
  std::vector<std::string> ends;
  for (const ZVMap& end : game.stored("session_end")) {
    ends.push_back(shown(end, "session_id") + ' ' + shown(end, "length") + ' ' + shown(end, "client_ts"));
    EXPECT_NE(shown(end, "event_uuid"), "u");
    EXPECT_EQ(shown(end, "install"), "(none)");
  }
  EXPECT_THAT(ends,
              testing::UnorderedElementsAre("ended (none) (none)", "young 0 100", "older 60 160",
                                            "far 9223372036854775807 9223372036854775807", "row 20 30", "early 0 40"));
  EXPECT_EQ(game.log.count("While fixing missing session end event; the session length was calculated to be less"), 1U);
  EXPECT_THAT(game.query("SELECT 1 FROM zv_session"), SizeIs(2)) << "the open session's, and what can't be read";
}

TEST(Counters, StayAtTheLastNumberThereIs) {
  Game game;
  game.onQueue([] {
    for (const char* key : {"session_num", "transaction_num"}) ZVStore::setDbStateWithKey(key, "9223372036854775807");
    ZVStore::persistProgressionTries("9223372036854775807", "world");
  });
  game.start();
  Zorvane::addBusinessEventWithCurrency("USD", 1, "gems", "small", "shop", ZVText(), {});
  Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::complete, "world", {}, {});
  game.settle();
  EXPECT_EQ(shown(game.sent("user").at(0), "session_num"), "9223372036854775807");
  EXPECT_EQ(shown(game.stored("business").at(0), "transaction_num"), "9223372036854775807");
  EXPECT_EQ(shown(game.stored("progression").at(0), "attempt_num"), "9223372036854775807");
}

}  // namespace

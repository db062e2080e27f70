#include <gmock/gmock.h>

#include <atomic>
#include <ctime>
#include <random>
#include <thread>

#include "collector/Archives.h"
#include "collector/archive/Retention.h"

namespace collector {
namespace {

class KeptArchive : public testing::Test {
 protected:
  void prune(std::int64_t before, std::int64_t last = INT64_MAX) {
    bool isDone = false;
    while (!isDone)
      ASSERT_TRUE(store_.writeNow([&](sqlite3* database) { isDone = pruneStep(database, before, last); }));
  }
  std::int64_t erase(const std::string& user) {
    std::int64_t events = 0;
    EXPECT_TRUE(store_.writeNow([&](sqlite3* database) { events = erasePlayer(database, kGame, user); }));
    return events;
  }
  std::vector<std::string> texts(const std::string& sql) const { return textsOf(file_, sql); }

  TemporaryFolder folder_;
  const std::string file_ = folder_.file("archive.sqlite");
  Store store_{file_};
};

TEST_F(KeptArchive, LosesWhatIsOlderThanItIsToKeep) {
  constexpr std::int64_t kThen = kFirstDay * kDay, kNow = (kFirstDay + 9) * kDay;
  std::vector<Event> old, young;
  for (std::uint64_t number = 1; number <= 5'000; ++number)
    old.push_back({.number = number,
                   .category = number % 7 == 0 ? "business" : "design",
                   .user = number % 3 == 0   ? ""
                           : number % 3 == 1 ? "ann"
                                             : "bob",
                   .day = number % 5 == 0 ? kFirstDay + 90 : kFirstDay,  // a clock that is ahead
                   .session = number % 3 == 1 ? 1 : 2,
                   .id = "old"});
  young.push_back({.number = 6'001, .user = "bob", .day = kFirstDay + 9, .session = 3, .id = "new"});
  young.push_back({.number = 6'002, .user = "cid", .day = kFirstDay, .session = 4, .id = "new", .build = "2.0"});
  auto first = batchOf(old, kThen), second = batchOf(young, kNow);
  first->refuse("{}").notes["old"] = 1;
  second->refuse("{}").notes["new"] = 1;
  ASSERT_TRUE(keeping(store_, first).get());
  ASSERT_TRUE(keeping(store_, second).get());

  prune(kNow, 0);  // events that wait to be handed on stay
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM events"), 5'002U);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM rejected"), 1U);
  prune(kNow);
  EXPECT_THAT(texts("SELECT user_id FROM event ORDER BY id"), testing::ElementsAre("bob", "cid"));
  EXPECT_THAT(texts("SELECT format('%d %d', received_at, (SELECT count(*) FROM rejected)) FROM rejected"),
              testing::ElementsAre(fmt::format("{} 1", kNow)));
  EXPECT_THAT(texts("SELECT note FROM notes"), testing::ElementsAre("new"));
  EXPECT_THAT(texts("SELECT user_id FROM players ORDER BY id"), testing::ElementsAre("bob", "cid"));
  EXPECT_THAT(texts("SELECT day FROM player_days ORDER BY player"),
              testing::ElementsAre(std::to_string(kFirstDay + 9), std::to_string(kFirstDay)));
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM sessions"), 2U);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM figures"), 1U);
  EXPECT_THAT(texts("SELECT (SELECT user_id FROM players WHERE id = player) FROM spending"),
              testing::ElementsAre("bob"));

  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM names WHERE text = 'old'"), 1U);
  ASSERT_TRUE(store_.writeNow([](sqlite3* database) { pruneNames(database); }));
  EXPECT_THAT(texts("SELECT text FROM names WHERE text != '' ORDER BY text"),
              testing::ElementsAre("1.0", "2.0", "EUR", "design", "linux", "new"));
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM topics"), 1U);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM segments"), 2U);
  ASSERT_TRUE(keep(store_, {{.number = 7'000, .id = "old"}}, kNow));
  EXPECT_THAT(texts("SELECT event_id FROM event WHERE id = (SELECT max(id) FROM events)"), testing::ElementsAre("old"));
}

TEST_F(KeptArchive, TakesEventsWhileItDeletes) {
  const std::int64_t now = std::time(nullptr);
  std::uint64_t number = 0;
  for (int batch = 0; batch < 40; ++batch) {
    std::vector<Event> events;
    for (int count = 0; count < 500; ++count) events.push_back({.number = ++number, .user = fmt::format("p{}", batch)});
    ASSERT_TRUE(keep(store_, events, now - 9 * kDay));
  }
  std::uint64_t kept = 0;
  {
    const Retention retention(store_, {.days = 8, .last = {}, .between = std::chrono::milliseconds(1)});
    do {
      ASSERT_TRUE(keep(store_, {{.number = ++number, .id = fmt::format("level:{}", number)}}, now));
      ++kept;
    } while (countRows(file_, fmt::format("SELECT count(*) FROM events WHERE received_at < {}", now)) > 0 || kept < 50);
  }
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM event WHERE event_id IS NOT NULL"), kept);
  EXPECT_THAT(texts("SELECT user_id FROM players"), testing::ElementsAre("ann"));
  expectTalliesOfItsEvents(file_);
}

TEST_F(KeptArchive, LeavesNoByteOfAnErasedPlayer) {
  std::mt19937 random(5);
  std::vector<std::string> players;
  for (int number = 0; number < 700; ++number) players.push_back(fmt::format("{:08x}-player", random()));
  std::uint64_t number = 0;
  for (int round = 0; round < 3; ++round)
    for (std::size_t at = 0; at < players.size(); at += 100) {
      auto batch = std::make_shared<Batch>();
      for (std::size_t each = at; each < at + 100; ++each) {
        batch->add(
            {.number = ++number, .user = players[each], .day = kFirstDay + round, .session = static_cast<int>(each)});
        batch->add({.number = ++number, .category = "business", .user = players[each], .day = kFirstDay + round});
        batch->refuse(fmt::format(R"({{"user_id":"{}","v":1}})", players[each]));
      }
      ASSERT_TRUE(keeping(store_, batch).get());
    }
  for (std::size_t at = 0; at < players.size(); at += 7) EXPECT_EQ(erase(players[at]), 6) << players[at];
  EXPECT_EQ(erase(players[0]), 0);
  ASSERT_TRUE(store_.emptyLog());
  const std::string content = contentOf(file_) + contentOf(file_ + "-wal");
  std::vector<std::string> left;
  for (std::size_t at = 0; at < players.size(); ++at)
    if ((content.find(players[at]) != std::string::npos) != (at % 7 != 0)) left.push_back(players[at]);
  EXPECT_THAT(left, testing::IsEmpty());
  expectTalliesOfItsEvents(file_);
}

TEST_F(KeptArchive, ErasesRefusedRecordsThatNameThePlayer) {
  const std::vector<std::pair<std::string, bool>> records = {{R"({"v":2,"user_id":"ann","v":1})", true},
                                                             {"{\"user_id\" :\n\"ann\"", true},
                                                             {R"({"user_id":"\u0061nn"})", true},
                                                             {R"({"custom":{"user_id":7},"user_id":"ann"})", true},
                                                             {R"({"user_id":"an)", true},  // cut
                                                             {R"({"user_id":"anna"})", false},
                                                             {R"({"user_id":"a\"nn"})", false},
                                                             {R"({"event_id":"ann"})", false},
                                                             {R"({"user_id")", false},
                                                             {R"({"user_id":")", false},
                                                             {"", false}};
  const auto batch = std::make_shared<Batch>();
  std::vector<std::string> stay;
  for (const auto& [record, goes] : records) {
    batch->refuse(record);
    if (!goes) stay.push_back(record);
  }
  ASSERT_TRUE(keeping(store_, batch).get());
  erase("ann");
  EXPECT_EQ(texts("SELECT record FROM rejected ORDER BY id"), stay);
}

TEST_F(KeptArchive, IsCopiedAsOfOneMomentWhileItTakesEvents) {
  std::atomic<bool> isDone = false;
  std::thread writing([&] {
    for (std::uint64_t number = 1; !isDone; ++number)
      keep(store_, {{.number = number, .user = fmt::format("p{}", number % 9)}});
  });
  while (countRows(file_, "SELECT count(*) FROM events") < 20) std::this_thread::yield();
  const std::string copy = folder_.file("copy.sqlite");
  backUp(file_, copy);
  isDone = true;
  writing.join();
  EXPECT_THAT(textsOf(copy, "PRAGMA integrity_check"), testing::ElementsAre("ok"));
  EXPECT_GE(countRows(copy, "SELECT count(*) FROM events"), 20U);
  expectTalliesOfItsEvents(copy);
  EXPECT_EQ(std::filesystem::status(copy).permissions(), std::filesystem::perms(0600));
  EXPECT_THAT([&] { backUp(file_, copy); }, testing::ThrowsMessage<SqlFailure>(testing::HasSubstr("File exists")));
  EXPECT_THROW(backUp(folder_.file("none.sqlite"), folder_.file("other.sqlite")), SqlFailure);
  for (const auto& each : std::filesystem::directory_iterator(folder_.path()))
    EXPECT_THAT(each.path().filename().string(), testing::Not(testing::HasSubstr("other"))) << "half a backup stays";
  { const Store copied(copy); }
}

}  // namespace
}  // namespace collector

#include <gmock/gmock.h>

#include <random>
#include <thread>

#include "collector/Archives.h"
#include "collector/archive/Measure.h"
#include "collector/archive/Writer.h"

namespace collector {
namespace {

class Archive : public testing::Test {
 protected:
  TemporaryFolder folder_;
  const std::string file_ = folder_.file("archive.sqlite");
};

TEST_F(Archive, KeepsAnEventOnceHoweverOftenItComes) {
  Store store(file_);
  const Event first{.number = 1}, second{.number = 2}, trouble{.number = 3, .category = "sdk_error", .user = ""};
  EXPECT_TRUE(keep(store, {first, first, trouble}));
  EXPECT_TRUE(keep(store, {second, first, trouble}));  // a second answer is a success as well
  EXPECT_THAT(textsOf(file_, "SELECT event_uuid FROM event ORDER BY id"),
              testing::ElementsAre("00000001000040008000000000000001", "00000003000040008000000000000003",
                                   "00000002000040008000000000000002"));
  expectTalliesOfItsEvents(file_);
}

TEST_F(Archive, TellsGamesAndPlayersApart) {
  Store store(file_);
  auto other = std::make_shared<Batch>();
  other->add({.number = 1}).add({.number = 2, .user = ""});
  other->game = "another";
  EXPECT_TRUE(keeping(store, other).get());
  EXPECT_TRUE(keep(store, {{.number = 1}, {.number = 1, .user = "bob"}, {.number = 2, .user = ""}}));
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM event WHERE game = 'another'"), 2U);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM event"), 5U);
  expectTalliesOfItsEvents(file_);
}

// Batches with much in common, some of which come again, through several openings of the file.
TEST_F(Archive, AddsUpInSmallTablesWhatEventsSay) {
  std::mt19937 random(7);
  const auto below = [&](int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); };
  std::vector<Event> all;
  for (int opening = 0; opening < 3; ++opening) {
    Store store(file_);
    std::vector<std::future<bool>> kept;
    for (int batch = 0; batch < 60; ++batch) {
      std::vector<Event> events;
      for (int count = below(40); count > 0; --count) {
        if (!all.empty() && below(4) == 0)
          events.push_back(all[static_cast<std::size_t>(below(static_cast<int>(all.size())))]);
        else
          events.push_back(
              {.number = all.size() + 1,
               .category = std::vector<std::string>{"user", "design", "business"}[static_cast<std::size_t>(below(3))],
               .user = below(9) == 0 ? "" : fmt::format("player {}", below(12)),
               .day = kFirstDay + below(5),
               .second = below(86'400),
               .session = below(30),
               .id = fmt::format("level:{}", below(20)),
               .value = static_cast<double>(below(1'000)),
               .build = std::to_string(below(3))});
        all.push_back(events.back());
      }
      kept.push_back(keeping(store, batchOf(events)));
    }
    for (auto& each : kept) EXPECT_TRUE(each.get());
  }
  expectTalliesOfItsEvents(file_);
  std::set<std::uint64_t> different;
  for (const Event& event : all) different.insert(event.number);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM events"), different.size());
  EXPECT_GT(countRows(file_, "SELECT count(*) FROM spending"), 5U);
}

TEST_F(Archive, SaysHowLongASessionWas) {
  Store store(file_);
  EXPECT_TRUE(keep(
      store, {{.number = 1, .category = "user"}, {.number = 2, .category = "session_end", .second = 70, .value = 65}}));
  EXPECT_TRUE(keep(store, {{.number = 3, .second = 30}}));
  EXPECT_THAT(textsOf(file_, "SELECT format('%d %d %d', last_ts - first_ts, length, events) FROM sessions"),
              testing::ElementsAre("70 65 3"));
  expectTalliesOfItsEvents(file_);
}

TEST_F(Archive, IsItsOwnersAlone) {
  Store store(file_);
  ASSERT_TRUE(keep(store, {{.number = 1}}));
  for (const char* end : {"", "-wal", "-shm", "-lock"})
    EXPECT_EQ(std::filesystem::status(file_ + end).permissions(), std::filesystem::perms(0600)) << end;
}

TEST_F(Archive, KeepsASecondCollectorOut) {
  auto store = std::make_unique<Store>(file_);
  EXPECT_THAT([&] { Store second(file_); },
              testing::ThrowsMessage<SqlFailure>(file_ + " is in use by another collector"));
  store.reset();
  Store next(file_);
}

TEST_F(Archive, ForgetsWhatAnotherChangedBesideIt) {
  Store store(file_);
  ASSERT_TRUE(keep(store, {{.number = 1}, {.number = 2, .user = "bob"}}));
  {
    Store beside(file_, Store::Use::beside);
    EXPECT_TRUE(beside.writeNow([](sqlite3* database) { EXPECT_EQ(erasePlayer(database, kGame, "ann"), 1); }));
  }
  ASSERT_TRUE(keep(store, {{.number = 3}, {.number = 4, .user = "bob"}}));
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM event WHERE user_id = 'ann'"), 1U);
  expectTalliesOfItsEvents(file_);
}

// A log that is on the disk when the test says so.
class Disk {
 public:
  std::string sync() {
    std::unique_lock lock(guard_);
    ++syncs_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return answer_.has_value(); });
    return *std::exchange(answer_, {});
  }
  void answer(std::string problem) {
    const std::scoped_lock lock(guard_);
    answer_ = std::move(problem);
    changed_.notify_all();
  }
  void awaitSync(int number) {
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return syncs_ >= number; });
  }

 private:
  std::mutex guard_;
  std::condition_variable changed_;
  std::optional<std::string> answer_;
  int syncs_ = 0;
};

TEST_F(Archive, AnswersWhenTheDiskHasIt) {
  { const Store made(file_); }
  const auto database = openDatabase(file_, OpenFor::writing);
  Disk disk;
  Writer writer(database.get(), [&] { return disk.sync(); });
  const auto keepOne = [&](std::uint64_t number) {
    const auto kept = std::make_shared<std::promise<bool>>();
    writer.keep(batchOf({{.number = number}}), [kept](bool is) { kept->set_value(is); });
    return kept->get_future();
  };
  const auto isOpen = [](const std::future<bool>& kept) {
    return kept.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
  };

  auto first = keepOne(1);
  disk.awaitSync(1);
  auto second = keepOne(2), third = keepOne(3);  // go into one commit meanwhile
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM events"), 1U);
  EXPECT_TRUE(isOpen(first) && isOpen(second));
  disk.answer("");
  EXPECT_TRUE(first.get());
  disk.awaitSync(2);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM events"), 3U);
  EXPECT_TRUE(isOpen(second) && isOpen(third));
  disk.answer("the disk is gone");
  EXPECT_FALSE(second.get());
  EXPECT_FALSE(third.get());
  EXPECT_EQ(writer.health().failure, "the disk is gone");
  auto again = keepOne(3);
  disk.awaitSync(3);
  disk.answer("");
  EXPECT_TRUE(again.get());
  EXPECT_EQ(writer.health().failure, "");
}

TEST(Measures, AreWholeNumbersOfParts) {
  struct Case {
    std::string_view category;
    Column column;
    Cell cell;
    std::optional<std::int64_t> measure;
  };
  constexpr std::int64_t kMost = 9'000'000'000'000'000'000;
  for (const auto& [category, column, cell, measure] :
       std::vector<Case>{{"impression", Column::value, 0.0000123, 12'300},
                         {"impression", Column::value, 1e12, kMost},
                         {"design", Column::value, 0.0000123, 12},
                         {"design", Column::value, -1e300, -kMost},
                         {"resource", Column::amount, -2.5, -2'500'000},
                         {"session_end", Column::length, std::int64_t{7}, 7'000'000},
                         {"progression", Column::score, {}, std::nullopt},
                         {"error", Column::value, 1.0, std::nullopt}}) {
    Row row{};
    row[Column::category] = category;
    row[column] = cell;
    EXPECT_EQ(measureOf(row), measure) << category;
  }
  EXPECT_EQ(partsOf("impression"), 1'000'000'000);
  EXPECT_EQ(partsOf("business"), 1'000'000);
}

}  // namespace
}  // namespace collector

// Databases that are damaged, hostile or out of reach when the game starts.
#include <gmock/gmock.h>

#include <sqlite3.h>
#include <sys/file.h>
#include <zorvane/Zorvane.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "state/ZVState.h"
#include "store/Database.h"
#include "store/ZVStore.h"
#include "support/Game.h"
#include "support/Sqlite.h"

using namespace zorvane;

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A game that has stored events, and whose database is then hurt while it doesn't run.
class DamagedDatabase : public testing::Test {
 protected:
  static constexpr int kEvents = 300;

  void SetUp() override {
    game.start();
    game.collector.hang();
    for (int i = 0; i < kEvents; ++i) Zorvane::addDesignEventWithEventId("n:" + std::to_string(i), i);
    game.settle();
    session = shown(game.stored("design").at(0), "session_id");
    close();
    path = ZVStore::sharedInstance().database->path;
  }
  static void close() { ZVStore::setSharedInstance(nullptr); }
  void overwrite(std::streamoff at, const std::string& bytes) const {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(at);
    file << bytes;
  }
  // Page 1 holds the schema, so the roots of the tables are among the next; the rest is nearly all events.
  [[nodiscard]] std::streamoff middle() const {
    return static_cast<std::streamoff>(std::filesystem::file_size(path) / 2 / 1024 * 1024);
  }
  std::size_t damagedFiles() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(path).parent_path()))
      count += entry.path().string().ends_with(".damaged") ? 1 : 0;
    return count;
  }
  void startAgain() {
    game.collector.resume();
    game.restart();
    game.start();
  }

  Game game;
  std::string path;
  std::string session;
};

TEST_F(DamagedDatabase, IsKeptAsideAndWhatCanBeReadGoesOn) {
  overwrite(middle(), std::string(3 * 1024, '\xA5'));
  game.log.clear();
  startAgain();
  EXPECT_EQ(game.log.count("Warning/ZV/Analytics: The event database is damaged ("), 1U);
  EXPECT_EQ(damagedFiles(), 1U);
  const auto kept = game.stored("design").size();
  EXPECT_GT(kept, kEvents / 2);
  EXPECT_LT(kept, kEvents);
  EXPECT_THAT(game.query("SELECT 1 FROM zv_session WHERE session_id = '" + session + "'"), SizeIs(1));
  EXPECT_EQ(shown(game.sent("user").back(), "session_num"), "2") << "the state was carried over";
  ASSERT_TRUE(game.collector.waitForRequests(5));
  ASSERT_THAT(game.sdkErrors(), SizeIs(1)) << "reported once there are keys";
  EXPECT_EQ(shown(game.sdkErrors()[0], "error_action"), "db_open_or_create");
  EXPECT_THAT(shown(game.sdkErrors()[0], "reason"), HasSubstr("The event database was damaged: "));

  Zorvane::addDesignEventWithEventId("after:all");
  game.settle();
  EXPECT_THAT(game.stored("design"), SizeIs(kept + 1));
  game.log.clear();
  startAgain();
  EXPECT_FALSE(game.log.contains("damaged")) << "the new one is whole";
}

TEST_F(DamagedDatabase, IsFoundWhateverThePlaceAndAlsoWhereItsTablesTakeNoEvents) {
  const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path));
  std::filesystem::copy_file(path, path + ".whole");
  std::vector<std::function<void()>> harms;
  for (const char* sql : {"ALTER TABLE zv_events RENAME TO kept; CREATE VIEW zv_events AS SELECT * FROM kept",
                          "CREATE TRIGGER no BEFORE INSERT ON zv_events BEGIN SELECT RAISE(ABORT, 'no'); END",
                          "ALTER TABLE zv_session RENAME COLUMN timestamp TO other"})
    harms.emplace_back([this, sql] { execute(path, sql); });
  std::vector<std::streamoff> places{0, 16, 100, 105};  // the header, its page size, the schema's page
  for (std::streamoff page = 1024; page < size; page += size / 8 / 1024 * 1024) places.push_back(page);
  for (const std::streamoff place : places)
    harms.emplace_back([this, place] { overwrite(place, std::string(40, '\xFF')); });
  for (std::size_t harm = 0; harm < harms.size(); ++harm) {
    std::filesystem::copy_file(path + ".whole", path, std::filesystem::copy_options::overwrite_existing);
    harms[harm]();
    game.log.clear();
    startAgain();
    EXPECT_EQ(game.log.count("The event database is damaged ("), 1U) << harm;
    EXPECT_EQ(damagedFiles(), 1U) << "one is kept, however often";
    Zorvane::addDesignEventWithEventId("after:all");
    game.settle();
    EXPECT_FALSE(game.stored("design").empty()) << harm;
    game.collector.hang();
    close();
  }
}

// The number of a row in the middle becomes a smaller one, and the page behind it garbage.
TEST_F(DamagedDatabase, IsReadToItsEndAlsoWhereItsRowsGoBack) {
  constexpr std::streamoff kPage = 1024;
  constexpr char kTableLeaf = 13;
  std::ifstream in(path, std::ios::binary);
  const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto byte = [&](std::streamoff at) { return static_cast<unsigned char>(file[static_cast<std::size_t>(at)]); };
  std::streamoff leaf = middle();
  while (byte(leaf) != kTableLeaf || byte(leaf + kPage) != kTableLeaf) leaf += kPage;
  const std::streamoff cell = leaf + 256 * byte(leaf + 8) + byte(leaf + 9);
  ASSERT_GE(byte(cell), 0x80U) << "the length of a record takes two bytes";
  ASSERT_GE(byte(cell + 2), 0x80U) << "and so does the number of its row";
  overwrite(cell + 2, std::string("\x81\x00", 2));  // 128
  overwrite(leaf + kPage, std::string(40, '\xEE'));
  game.log.clear();
  startAgain();
  EXPECT_EQ(game.log.count("The event database is damaged ("), 1U);
  EXPECT_GT(game.stored("design").size(), kEvents / 2);
}

TEST_F(DamagedDatabase, StaysWhereItIsWhileAnotherProcessWorksWithIt) {
  overwrite(middle(), std::string(3 * 1024, '\xA5'));
  const int folder = open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(folder, LOCK_SH), 0);
  game.log.clear();
  game.restart();
  EXPECT_EQ(damagedFiles(), 0U);
  EXPECT_FALSE(ZVStore::sharedInstance().tableReady);
  EXPECT_TRUE(game.log.contains("and no other can take its place now"));
  ::close(folder);
  startAgain();
  EXPECT_EQ(damagedFiles(), 1U);
  EXPECT_TRUE(ZVStore::sharedInstance().tableReady);
}

// Denies the reading of one table for a number of times, on every connection from now on.
class Denial {
 public:
  Denial(const std::string& table, int times) {
    denied = table;
    left = times;
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(install));
  }
  ~Denial() {
    sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(install));
    left = 0;
  }
  Denial(const Denial&) = delete;
  Denial& operator=(const Denial&) = delete;

 private:
  static int install(sqlite3* database, const char**, const sqlite3_api_routines*) {
    return sqlite3_set_authorizer(database, decide, nullptr);
  }
  static int decide(void*, int action, const char* table, const char*, const char*, const char*) {
    const bool denies = action == SQLITE_READ && left > 0 && table != nullptr && table == denied;
    if (denies) --left;
    return denies ? SQLITE_DENY : SQLITE_OK;
  }
  static inline std::string denied;
  static inline int left = 0;
};

TEST(FailedReads, CostNoTableAndNoCounterWhenTheyPass) {
  for (const char* table : {"zv_events", "zv_session", "zv_state", "zv_progression"}) {
    for (const int times : {1, 2}) {
      Game game;
      game.start();
      game.collector.hang();
      Zorvane::addDesignEventWithEventId("waits");
      game.settle();
      game.collector.resume();
      const Denial denial(table, times);
      game.restart();
      game.start();
      EXPECT_THAT(game.stored("design"), SizeIs(1)) << table << times;
      EXPECT_EQ(shown(game.sent("user").back(), "session_num"), "2") << table << times;
    }
  }
}

TEST(FailedReads, ThatLastDropNothingAndPassForNoInstallation) {
  Game game;
  game.start();
  for (const char* table : {"zv_events", "zv_state"}) {
    {
      const Denial denial(table, 1'000'000);
      game.restart();
      EXPECT_FALSE(ZVStore::sharedInstance().tableReady);
    }
    game.restart();
    EXPECT_TRUE(ZVStore::sharedInstance().tableReady);
  }
  game.onQueue([] {
    sqlite3_set_authorizer(
        ZVStore::getDatabase(),
        [](void*, int action, auto...) { return action == SQLITE_READ ? SQLITE_DENY : SQLITE_OK; }, nullptr);
  });
  game.start();
  EXPECT_FALSE(ZVState::isInitialized());
  EXPECT_TRUE(game.log.contains("Warning/ZV/Analytics: Could not read the persisted state from the event database"));
  game.onQueue([] { sqlite3_set_authorizer(ZVStore::getDatabase(), nullptr, nullptr); });
  game.start();
  EXPECT_EQ(shown(game.sent("user").back(), "session_num"), "2");
  EXPECT_EQ(shown(game.sent("user").back(), "install"), "(none)");
}

}  // namespace

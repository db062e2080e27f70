#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "collector/Archives.h"

namespace collector {
namespace {

class EarlierArchive : public testing::Test {
 protected:
  EarlierArchive() {
    std::ofstream made(file_);
    made.close();
    ::execute(file_, contentOf(std::string(ZORVANE_FIXTURES) + "/first-version.sql"));
  }
  std::vector<std::string> texts(const std::string& sql) const { return textsOf(file_, sql); }

  TemporaryFolder folder_;
  const std::string file_ = folder_.file("archive.sqlite");
};

TEST_F(EarlierArchive, IsBroughtUpToDate) {
  const auto records = texts("SELECT record FROM events GROUP BY event_uuid ORDER BY min(id)");
  ASSERT_EQ(records.size(), 22U);
  ASSERT_EQ(countRows(file_, "SELECT count(*) FROM events"), 23U);  // one came twice
  ::execute(file_, "UPDATE events SET record = replace(record, '\"category\"', '\"kategory\"') WHERE id = 5");
  ::execute(file_, "UPDATE events SET record = '[' WHERE id = 6");
  {
    const Store store(file_);
    EXPECT_THAT(texts("PRAGMA user_version"), testing::ElementsAre("2"));
    EXPECT_THAT(texts("SELECT name FROM sqlite_master WHERE name LIKE 'first%' OR name IN ('requests', 'inits')"),
                testing::IsEmpty());
  }
  auto kept = records;
  kept.erase(kept.begin() + 4, kept.begin() + 6);
  EXPECT_EQ(texts("SELECT record FROM events ORDER BY id"), kept);
  EXPECT_THAT(texts("SELECT DISTINCT game FROM event"), testing::ElementsAre("1641af3f7ec9333250f7f1af63aca87f"));
  EXPECT_EQ(countRows(file_, "SELECT min(received_at) FROM event"), 1795330330U);
  EXPECT_THAT(texts("SELECT reasons FROM rejected ORDER BY id"),
              testing::ElementsAre(testing::HasSubstr("category"), testing::HasSubstr("not JSON"),
                                   R"(["session_num: is not a whole number"])",
                                   R"(["event_id: has a part that is not allowed"])", R"(["value: is not a number"])"));
  EXPECT_EQ(texts("SELECT record FROM rejected WHERE id = 2").front(), "[");
  EXPECT_EQ(countRows(file_, "SELECT count(DISTINCT user_id) FROM event WHERE user_id IS NOT NULL"), 1U);
  expectTalliesOfItsEvents(file_);
}

TEST_F(EarlierArchive, GoesOnWhereItWasKilled) {
  ::execute(
      file_,
      "INSERT INTO events(request_id, category, event_uuid, session_id, user_id, client_ts, record) WITH RECURSIVE "
      "n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) SELECT request_id, category, "
      "format('%08x-0000-4000-8000-000000000000', i), session_id, user_id, client_ts, replace(record, event_uuid, "
      "format('%08x-0000-4000-8000-000000000000', i)) FROM n, events WHERE id = 12");
  int kills = 0;
  for (bool isDone = false; !isDone;) {
    const pid_t child = ::fork();
    if (child == 0) {
      const Store store(file_);
      ::_exit(0);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20 + 20 * kills));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    isDone = WIFEXITED(status);
    if (isDone) EXPECT_EQ(WEXITSTATUS(status), 0);
    else ++kills;
  }
  EXPECT_GT(kills, 2);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM events"), 20'022U);
  EXPECT_EQ(countRows(file_, "SELECT count(*) FROM rejected"), 3U);
  expectTalliesOfItsEvents(file_);
}

TEST(StrangeFile, IsRefusedAndStaysAsItIs) {
  struct Case {
    std::string sql, message;
  };
  for (const auto& [sql, message] :
       std::vector<Case>{{"CREATE TABLE rejected(a); PRAGMA user_version = 3",
                          "it is of version 3, which a later collector made; this one knows up to version 2"},
                         {"CREATE TABLE a(b)", "it is no archive of this collector"},
                         {"CREATE TABLE a(b); PRAGMA user_version = 1", "it is no archive of this collector"},
                         {"", "file is not a database"}}) {
    const TemporaryFolder folder;
    const auto file = folder.file("strange");
    std::ofstream made(file);
    if (sql.empty()) made << std::string(5'000, 'x');
    made.close();
    if (!sql.empty()) ::execute(file, sql);
    const auto before = contentOf(file);
    EXPECT_THAT([&] { Store store(file); },
                testing::ThrowsMessage<SqlFailure>(
                    testing::AllOf(testing::StartsWith(file + " can't be used: "), testing::HasSubstr(message))));
    EXPECT_EQ(contentOf(file), before);
    EXPECT_FALSE(std::filesystem::exists(file + "-wal"));
  }
}

}  // namespace
}  // namespace collector

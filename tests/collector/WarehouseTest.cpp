#include <arpa/inet.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <ctime>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "collector/Records.h"
#include "collector/WarehouseServer.h"
#include "collector/archive/Upkeep.h"
#include "collector/archive/Uuid.h"
#include "collector/intake/Intake.h"
#include "collector/questions/ArchiveEngine.h"
#include "collector/questions/Questions.h"
#include "collector/questions/WarehouseEngine.h"
#include "collector/warehouse/Erasure.h"
#include "collector/warehouse/Literals.h"
#include "collector/warehouse/Settling.h"
#include "collector/warehouse/Shipper.h"
#include "collector/warehouse/Tables.h"

// One server serves all tests, each in a database of its own.

namespace collector {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr auto kGame = "0123456789abcdef0123456789ABCDEF";
constexpr auto kSecret = "0123456789abcdef0123456789ABCDEF01234567";
constexpr std::int64_t kNow = 1'700'000'000;

WarehouseServer& server() {
  static WarehouseServer one;
  return one;
}

// Waits for what comes by itself.
template <class Holds>
void await(Holds holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(3);
  while (!holds()) {
    ASSERT_LT(std::chrono::steady_clock::now(), end);
    std::this_thread::sleep_for(milliseconds(20));
  }
}

std::string uuid(int number) { return fmt::format("0a1b2c3d-0000-4000-8000-{:012x}", number); }

// One of many design events: a player every hundred, an event a minute.
std::string event(int number, const std::string& user = "") {
  auto text = replaced(kDesign, std::string(kUuid), uuid(number));
  text = replaced(text, "\"client_ts\":1700000000", fmt::format("\"client_ts\":{}", kNow + number * 60));
  return replaced(
      text, R"("user_id":"u")",
      fmt::format(R"("user_id":{})", quotedJson(user.empty() ? fmt::format("player{}", number / 100) : user)));
}

std::vector<std::string> events(int from, int to) {
  std::vector<std::string> all;
  for (int number = from; number < to; ++number) all.push_back(event(number));
  return all;
}

class Archive {
 public:
  explicit Archive(const std::string& name = "archive")
      : path_(folder_.file(name)), readers_(path_), owned_(std::make_unique<Store>(path_)), store(*owned_) {}

  void keep(const std::vector<std::string>& records, const char* game = kGame, std::int64_t receivedAt = kNow) {
    auto content = std::make_shared<Content>(fmt::format("[{}]", fmt::join(records, ",")));
    content->game = game;
    content->receivedAt = receivedAt;
    forEachElement(content->text, [&](const JsonValue& element, std::string_view text) {
      Findings findings;
      const auto members = readRecord(element, text.size(), findings);
      ASSERT_TRUE(findings.good) << text;
      content->rows.push_back(rowOf(members, text, content->texts));
    });
    std::promise<bool> kept;
    store.keep(content, [&](bool isKept) { kept.set_value(isKept); });
    ASSERT_TRUE(kept.get_future().get());
  }
  std::int64_t one(const std::string& sql) {
    std::int64_t number = 0;
    readers_.read([&](sqlite3* database) {
      Statement statement(database, sql);
      if (statement.step()) number = statement.integer(0);
    });
    return number;
  }
  std::int64_t waiting() {
    return one(
        "SELECT count(*) FROM events WHERE id > (SELECT ifnull(max(CAST(value AS INTEGER)), 0) FROM facts WHERE name = "
        "'handed_on')");
  }
  void leave() { owned_.reset(); }  // to another process
  [[nodiscard]] const TemporaryFolder& folder() const { return folder_; }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  TemporaryFolder folder_;
  std::string path_;
  Readers readers_;
  std::unique_ptr<Store> owned_;

 public:
  Store& store;
};

std::string answerOf(Engine& engine, const Question& question, const std::map<std::string, std::string>& parameters) {
  try {
    const Table table = ask(engine, question, parameters);
    return asCsv(table) + (table.isCut ? "more" : "");
  } catch (const BadQuestion& bad) {
    return bad.what();
  }
}

constexpr Shipper::Pace kPace{50'000, milliseconds(10), milliseconds(10), milliseconds(100), milliseconds(100)};

class Warehouse : public testing::Test {
 protected:
  Warehouse()
      : address_(server().address(testing::UnitTest::GetInstance()->current_test_info()->name())),
        clickHouse_(address_) {}

  std::unique_ptr<Shipper> ship(Archive& archive, Shipper::Pace pace = kPace) {
    return std::make_unique<Shipper>(
        archive.store, address_, [](const std::string&) {}, pace);
  }
  void shipAll(Archive& archive) {
    const auto shipper = ship(archive);
    await([&] { return archive.waiting() == 0; });
  }
  std::string ask(const std::string& sql) { return clickHouse_.run(sql); }
  static void handOnAgain(Store& store) {
    ASSERT_TRUE(store.writeNow(
        [](sqlite3* database) { execute(database, "UPDATE facts SET value = 0 WHERE name = 'handed_on'"); }));
  }
  void settle() {
    await([&] { return !settleOne(clickHouse_, std::chrono::seconds(0)); });
  }
  // Events, and different ones among them.
  std::string counted() { return ask("SELECT count(), uniqExact(event_uuid) FROM events FINAL"); }

  const WarehouseAddress address_;
  const ClickHouse clickHouse_;
};

TEST_F(Warehouse, MakesItsTablesWhereThereAreNone) {
  EXPECT_THROW((void)ask("SELECT 1"), WarehouseRefusal);  // no database
  for (int round = 0; round < 2; ++round) prepareWarehouse(clickHouse_);
  EXPECT_EQ(ask("SELECT name, engine FROM system.tables WHERE database = currentDatabase() ORDER BY name"),
            "events\tReplacingMergeTree\nplayer_days\tReplacingMergeTree\nplayer_days_of_events\tMaterializedView\n");
}

TEST_F(Warehouse, TakesTextsByteForByte) {
  const ClickHouse atServer(server().address("default"));
  std::string all, format = "{}{0}%s%n${x}";
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (const std::string& text :
       {std::string(), all, format, std::string("\\N"), std::string("'; DROP TABLE events; --"), std::string("\\"),
        std::string("\\'\\\\'"), std::string("\xF0\x9F\x98\x80\xE2\x80\xAE\xEF\xBB\xBF")})
    EXPECT_EQ(withoutEscapes(atServer.run("SELECT " + literal(text))), text + "\n");

  Archive archive;
  const std::vector<std::string> hostile = {
      "a'b\"c\\d", "tab\tline\nreturn\r",          std::string("nul\0x", 5),      "\\N",
      "\\t",       "\xF0\x9F\x98\x80\xE2\x80\xAE", "{}%s'; DROP TABLE events; --"};
  std::vector<std::string> records;
  for (const auto& text : hostile) {
    auto record = event(static_cast<int>(records.size()), text);
    record = replaced(record, "\"platform\":\"linux\"", "\"platform\":\"linux\",\"custom_01\":" + quotedJson(text));
    records.push_back(record);
  }
  archive.keep(records);
  shipAll(archive);
  WarehouseEngine engine(clickHouse_);
  for (std::size_t at = 0; at < hostile.size(); ++at) {
    const Filter filter{kGame, 0, 40'000, {{Column::custom01, hostile[at]}}};
    const auto life = engine.life(filter, hostile[at], 10);
    ASSERT_EQ(life.rows.size(), 1U) << hostile[at];
    EXPECT_EQ(std::get<std::string>(life.rows[0][4]), records[at]);
    const auto grouped = engine.events(filter, {.category = "design", .by = {Column::custom01}, .sums = {Sum::events}});
    EXPECT_EQ(asCsv(grouped), asCsv({{"custom_01", "events"}, {{hostile[at], std::int64_t{1}}}}));
  }
}

TEST_F(Warehouse, HasEachEventOnceThoughItIsKilled) {
  Archive archive;
  const auto shipper = ship(archive, {500, milliseconds(5), milliseconds(5), milliseconds(50), milliseconds(100)});
  int number = 0;
  for (int round = 0; round < 4; ++round) {
    archive.keep(events(number, number + 4000));
    number += 4000;
    await([&] { return shipper->lag().handedOn > round * 2000; });
    server().kill(SIGKILL);
    archive.keep(events(number, number + 1000));
    number += 1000;
    await([&] { return !shipper->lag().trouble.empty(); });
    EXPECT_GE(shipper->lag().waiting, 1000);
    EXPECT_EQ(shipper->lag().oldest, kNow);
    server().start();
  }
  await([&] { return shipper->lag().waiting == 0; });
  EXPECT_EQ(shipper->lag().trouble, "");
  EXPECT_EQ(counted(), fmt::format("{0}\t{0}\n", number));
  EXPECT_EQ(ask("SELECT uniqExact(player) FROM player_days"), fmt::format("{}\n", number / 100));
}

TEST_F(Warehouse, HasEachEventOnceThoughTheCollectorIsKilled) {
  Archive archive;
  archive.keep(events(0, 60'000));
  archive.leave();
  for (int round = 0; archive.waiting() > 0; ++round) {
    ASSERT_LT(round, 20);
    ChildProcess collector(archive.folder().path(), {ZORVANE_COLLECTOR, "--game", fmt::format("{}:{}", kGame, kSecret),
                                                     "--port", "0", "--database", archive.path(), "--warehouse",
                                                     server().url(clickHouse_.database()), "--quiet"});
    ASSERT_THAT(collector.firstLine(), HasSubstr("listens"));
    if (round < 12) std::this_thread::sleep_for(milliseconds(40 * round));
    else await([&] { return archive.waiting() == 0; });
    collector.kill(SIGKILL);
    collector.wait();
  }
  EXPECT_EQ(counted(), "60000\t60000\n");
}

TEST_F(Warehouse, CountsWhatTwoCollectorsTookOnce) {
  Archive one, other;
  one.keep(events(0, 1000), kGame, kNow + 1);
  other.keep(events(500, 1500), kGame, kNow + 2);
  shipAll(one);
  shipAll(other);
  EXPECT_EQ(ask("SELECT count() FROM events"), "2000\n");
  WarehouseEngine engine(clickHouse_);
  const Filter filter{kGame, 0, 40'000, {}};
  EXPECT_EQ(
      asCsv(engine.events(
          filter, {.category = "design", .by = {Column::part1}, .sums = {Sum::events, Sum::players, Sum::total}})),
      "part1,events,players,total\r\na,1500,15,2250\r\n");
  EXPECT_EQ(engine.life(filter, "player7", 1000).rows.size(), 100U);
}

// Some of it settled, some of it not, while the same comes again, and while it is being settled.
TEST_F(Warehouse, CountsOnceWhateverIsSettled) {
  constexpr int kDay = 24 * 60;  // an event a minute
  Archive one, other;
  WarehouseEngine engine(clickHouse_);
  const auto counted = [&](std::map<Column, std::string> where = {}) {
    return asCsv(engine.events({kGame, 0, 40'000, {}}, {.category = "design",
                                                        .by = {Column::part1},
                                                        .sums = {Sum::events, Sum::players, Sum::total},
                                                        .where = std::move(where)}));
  };
  const auto said = [](int number) {
    return fmt::format("part1,events,players,total\r\na,{},{},{}\r\n", number, (number + 99) / 100, 1.5 * number);
  };
  prepareWarehouse(clickHouse_);
  EXPECT_THAT(settledParts(clickHouse_), IsEmpty());
  one.keep(events(0, 3 * kDay), kGame, kNow);
  shipAll(one);
  EXPECT_EQ(counted(), said(3 * kDay));
  settle();
  EXPECT_EQ(settledParts(clickHouse_).size(), 4U) << "days";
  EXPECT_EQ(counted(), said(3 * kDay));
  EXPECT_EQ(counted({{Column::part1, "\f' OR '\f"}}), "part1,events,players,total\r\n") << "a mark in a text is text";

  other.keep(events(2 * kDay, 4 * kDay), kGame, kNow);  // what is settled once more, and what isn't
  shipAll(other);
  EXPECT_EQ(ask("SELECT count() FROM events"), fmt::format("{}\n", 5 * kDay));
  EXPECT_THAT(settledParts(clickHouse_), Not(IsEmpty()));
  EXPECT_EQ(counted(), said(4 * kDay));
  auto growing = std::async(std::launch::async, [&] {
    for (int round = 0; round < 5; ++round) {
      settle();
      handOnAgain(other.store);
      shipAll(other);
    }
    settle();
  });
  for (int asked = 0; asked < 20 || growing.wait_for(milliseconds(0)) != std::future_status::ready; ++asked)
    ASSERT_EQ(counted(), said(4 * kDay));
  EXPECT_EQ(ask("SELECT count() FROM events"), fmt::format("{}\n", 4 * kDay));
  EXPECT_EQ(counted(), said(4 * kDay));
}

// A server that refuses what it finds too much, as a proxy or a limit on memory does.
TEST_F(Warehouse, GetsLessAtOnceWhenItRefuses) {
  std::atomic<std::int64_t> taken{0};  // each connection has a thread
  httplib::Server strict;
  strict.Post("/", [&](const httplib::Request& request, httplib::Response& response) {
    const auto rows = std::ranges::count(request.body, '\n');
    if (!request.has_param("query")) return response.set_content("2\n", "text/plain");
    if (rows > 10) response.status = 500;
    else taken += rows;
  });
  const int port = strict.bind_to_any_port("127.0.0.1");
  std::thread serving([&] { strict.listen_after_bind(); });
  Archive archive;
  archive.keep(events(0, 100));
  auto address = WarehouseAddress::read(fmt::format("http://127.0.0.1:{}/x", port));
  {
    Shipper shipper(
        archive.store, std::move(address), [](const std::string&) {}, kPace);
    await([&] { return archive.waiting() == 0; });
  }
  strict.stop();
  serving.join();
  EXPECT_EQ(taken, 100);
}

TEST_F(Warehouse, SaysWhyItCannotTakeEvents) {
  Archive archive;
  archive.keep(events(0, 3));
  const auto troubleOf = [&](WarehouseAddress address) {
    Shipper shipper(
        archive.store, std::move(address), [](const std::string&) {}, kPace);
    await([&] { return !shipper.lag().trouble.empty() || shipper.lag().waiting == 0; });
    return shipper.lag().trouble;
  };
  auto address = server().address(clickHouse_.database());
  address.user = WarehouseServer::kUser;
  address.password = "wrong";
  EXPECT_THAT(troubleOf(address), HasSubstr("password"));
  address.user = WarehouseServer::kReader;
  address.password = "";
  EXPECT_THAT(troubleOf(address), HasSubstr("readonly"));
  auto away = address;
  away.server.port = "1";
  EXPECT_THAT(troubleOf(away), HasSubstr("connect"));
  httplib::Server other;  // that says yes to everything
  other.Post("/",
             [](const httplib::Request&, httplib::Response& response) { response.set_content("ok", "text/plain"); });
  const int port = other.bind_to_any_port("127.0.0.1");
  std::thread serving([&] { other.listen_after_bind(); });
  EXPECT_THAT(troubleOf(WarehouseAddress::read(fmt::format("http://127.0.0.1:{}/x", port))), HasSubstr("no warehouse"));
  other.stop();
  serving.join();
  EXPECT_EQ(archive.waiting(), 3);
  address.user = WarehouseServer::kUser;
  address.password = WarehouseServer::kPassword;
  EXPECT_EQ(troubleOf(address), "");
}

TEST_F(Warehouse, NeverTakesHalfAnAnswerForAWholeOne) {
  prepareWarehouse(clickHouse_);
  EXPECT_THROW((void)ask("SELECT toUInt8(if(number = 3000000, 'x', '1')) FROM system.numbers LIMIT 4000000"),
               WarehouseRefusal);
}

// Its end may not take as long as a server that has fallen silent.
TEST_F(Warehouse, IsGivenUpWhenItFallsSilent) {
  Archive archive;
  archive.keep(events(0, 3));
  auto shipper = ship(archive);
  await([&] { return archive.waiting() == 0; });
  server().kill(SIGSTOP);
  archive.keep(events(3, 6));
  std::this_thread::sleep_for(milliseconds(50));
  const auto begin = std::chrono::steady_clock::now();
  shipper.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  server().kill(SIGCONT);
  shipAll(archive);
  EXPECT_EQ(counted(), "6\t6\n");
}

TEST_F(Warehouse, GetsEventsBeforeTheyAreDeletedForAge) {
  Archive archive;
  archive.keep(events(0, 100));
  shipAll(archive);
  archive.keep(events(100, 300));
  ASSERT_TRUE(archive.store.writeNow([](sqlite3* database) {
    while (!pruneStep(database, kNow + 1, handedOn(database))) continue;
  }));
  EXPECT_EQ(archive.one("SELECT count(*) FROM events"), 200);
  shipAll(archive);
  EXPECT_EQ(counted(), "300\t300\n");
}

TEST_F(Warehouse, ForgetsAPlayer) {
  Archive archive, other;
  archive.keep({event(1, "gone"), event(2, "gone"), event(3, "stays")});
  archive.keep({event(4, "gone")}, "another game");
  other.keep({event(1, "gone")});
  shipAll(archive);
  shipAll(other);
  archive.keep({event(5, "gone")});  // not handed on yet
  const auto rows = [&] {
    return ask("SELECT game, user_id, count() FROM events GROUP BY game, user_id ORDER BY game, user_id") +
           ask("SELECT count() FROM player_days");
  };

  server().kill(SIGKILL);
  const auto pending = erase(archive.store, kGame, "gone", milliseconds(0));
  ASSERT_TRUE(pending);
  EXPECT_EQ(pending->events, 3);
  EXPECT_TRUE(pending->isPending);
  { const auto away = ship(archive); }  // a collector that starts and ends meanwhile
  EXPECT_EQ(archive.one("SELECT count(*) FROM erasures"), 1);
  server().start();
  archive.keep({event(6, "gone")}, kGame, std::time(nullptr) + 100);  // who plays on
  {
    const auto shipper = ship(archive);
    await([&] { return archive.one("SELECT count(*) FROM erasures") == 0 && archive.waiting() == 0; });
    EXPECT_EQ(shipper->lag().erasures, 0);
  }
  EXPECT_EQ(rows(), fmt::format("{0}\tgone\t1\n{0}\tstays\t1\nanother game\tgone\t1\n3\n", kGame));
  EXPECT_EQ(ask("SELECT event_uuid FROM events WHERE user_id = 'gone' AND game != 'another game'"), uuid(6) + "\n");

  const auto shipper = ship(archive);
  const auto done = erase(archive.store, "another game", "gone", std::chrono::minutes(3));
  ASSERT_TRUE(done);
  EXPECT_FALSE(done->isPending);
  EXPECT_EQ(ask("SELECT count() FROM events WHERE game = 'another game'"), "0\n");
  Archive without;  // a warehouse
  without.keep({event(1, "gone")});
  EXPECT_FALSE(erase(without.store, kGame, "gone", milliseconds(0))->isPending);
}

// Events are on their way while their player is erased: they arrive, and then they go.
TEST_F(Warehouse, ForgetsAPlayerWhoseEventsAreUnderWay) {
  Archive archive;
  archive.keep({event(1, "stays")});
  auto shipper = ship(archive, {50'000, milliseconds(5), milliseconds(5), milliseconds(20), milliseconds(100)});
  await([&] { return archive.waiting() == 0; });
  int number = 2;
  for (int round = 0; round < 5; ++round) {
    const auto user = fmt::format("gone{}", round);
    server().kill(SIGSTOP);
    std::vector<std::string> records;
    for (int each = 0; each < 50; ++each) records.push_back(event(number++, user));
    archive.keep(records);
    std::this_thread::sleep_for(milliseconds(30 * round));
    ASSERT_TRUE(erase(archive.store, kGame, user, milliseconds(0)));
    server().kill(SIGCONT);
  }
  await([&] { return archive.one("SELECT count(*) FROM erasures") == 0; });
  EXPECT_EQ(ask("SELECT DISTINCT user_id FROM events"), "stays\n");
  EXPECT_EQ(ask("SELECT count() FROM player_days"), "1\n");
}

// Two engines, one population: every question, to the last digit.
TEST_F(Warehouse, AnswersLikeTheArchive) {
  Archive nonsense;  // comes before the population
  std::vector<std::string> records;
  for (int number = 0; number < 3; ++number)
    records.push_back(replaced(record("session_end", R"("length":9223372036854775807)"), kUuid, uuid(number)));
  records.push_back(replaced(replaced(kDesign, kUuid, uuid(3)), "\"client_ts\":1700000000,", ""));
  nonsense.keep(records);
  nonsense.leave();
  const auto& folder = nonsense.folder();
  const auto& path = nonsense.path();
  const auto game = fmt::format("{}:{}", kGame, kSecret);
  {
    ChildProcess collector(folder.path(), {ZORVANE_COLLECTOR, "--game", game, "--port", "0", "--database", path,
                                           "--warehouse", server().url(clickHouse_.database()), "--quiet"});
    const auto line = collector.firstLine();
    ChildProcess crowd(folder.path(),
                       {ZORVANE_CROWD, "--collector", line.substr(line.find("http")), "--game", game, "--days", "12",
                        "--players", "80", "--until", "2026-11-01", "--seed", "3", "--quiet"});
    ASSERT_EQ(crowd.wait(std::chrono::minutes(5)), 0) << crowd.errors();
    collector.kill(SIGTERM);
    ASSERT_EQ(collector.wait(), 0) << collector.errors();
  }
  Store store(path);
  for (int round = 0; round < 2; ++round) {  // all of it twice
    Shipper shipper(
        store, address_, [](const std::string&) {}, kPace);
    await([&] { return shipper.lag().waiting == 0; });
    if (round == 0) handOnAgain(store);
  }
  for (int day = 0; day < 6; ++day) EXPECT_TRUE(settleOne(clickHouse_, std::chrono::seconds(0)));
  EXPECT_THAT(settledParts(clickHouse_), Not(IsEmpty()));
  ArchiveEngine archive(store.readers());
  WarehouseEngine warehouse(clickHouse_);
  const auto users = archive.events({kGame, 0, 40'000, {}}, {.category = "user", .by = {}, .sums = {Sum::players}});
  ASSERT_GT(std::get<std::int64_t>(users.rows.at(0).at(0)), 50);

  const std::vector<std::map<std::string, std::string>> filters = {{},
                                                                   {{"build", "1.1.0"}},
                                                                   {{"platform", "linux"}, {"custom_01", "ninja"}},
                                                                   {{"from", "2026-10-25"}, {"to", "2026-10-27"}},
                                                                   {{"from", "1970-01-01"}, {"to", "1970-01-01"}},
                                                                   {{"from", "1970-01-01"}, {"to", "9999-12-31"}},
                                                                   {{"ab_variant_id", "b"}}};
  std::string someone, session;
  store.read([&](sqlite3* database) {
    Statement user(database,
                   "SELECT user_id, session FROM players JOIN sessions ON player = id ORDER BY id LIMIT 1 OFFSET 20");
    user.step();
    someone = user.text(0);
    session = uuidText(user.bytes(1));
  });
  std::size_t lines = 0;
  for (const Question& question : questions()) {
    if (question.name == "refused") continue;  // of the archive in both
    const auto takes = [&](std::string_view name) {
      return std::ranges::count(question.takes, name, &Parameter::name) > 0;
    };
    std::vector<std::map<std::string, std::string>> own = {{}};
    if (takes("daily")) own.push_back({{"daily", "yes"}});
    if (takes("by")) own.push_back({{"by", "build,platform"}});
    if (takes("whole")) own.push_back({{"whole", "yes"}});
    if (takes("under") && takes("by")) own.push_back({{"under", "ui"}, {"by", "ab_variant_id"}});
    if (takes("user_id")) own = {{{"user_id", someone}}};
    if (takes("under")) own.push_back({{"under", "ui"}});
    if (takes("starts")) own.insert(own.end(), {{{"limit", "1000"}}, {{"starts", someone.substr(0, 1)}}});
    if (question.name == "designs")
      own.insert(own.end(), {{{"by", "field:weapon"}}, {{"by", "field:combo"}, {"daily", "yes"}}});
    if (question.name == "rows")
      own.insert(own.end(), {{{"limit", "1000"}},
                             {{"category", "error"}, {"severity", "critical"}},
                             {{"category", "progression"}, {"status", "Fail"}, {"limit", "7"}},
                             {{"session_id", session}},
                             {{"user_id", someone}, {"category", "design"}, {"limit", "3"}}});
    for (const auto& filter : filters) {
      for (auto parameters : own) {
        parameters.insert(filter.begin(), filter.end());
        parameters.insert({{"game", kGame}, {"from", "2026-10-03"}, {"to", "2026-11-02"}});
        const auto answer = answerOf(archive, question, parameters);
        EXPECT_EQ(answerOf(warehouse, question, parameters), answer)
            << question.name << ' ' << testing::PrintToString(parameters);
        lines += static_cast<std::size_t>(std::ranges::count(answer, '\n'));
      }
    }
  }
  EXPECT_GT(lines, 500U);
  const Query shops{
      .category = "design", .by = {Column::part1}, .sums = {}, .where = {{Column::part1, "ui"}}, .limit = 100'000};
  const auto events = archive.fields({kGame, 0, 40'000, {}}, shops).value().size();
  for (const std::size_t limit : {events, events - 1}) {
    Query limited = shops;
    limited.limit = limit;
    for (Engine* engine : std::initializer_list<Engine*>{&archive, &warehouse})
      EXPECT_EQ(engine->fields({kGame, 0, 40'000, {}}, limited).has_value(), limit == events);
  }
}

TEST(WarehouseAddress, IsAUrlWithADatabase) {
  struct Case {
    const char *url, *host, *port;  // no host: it is refused
  };
  for (const auto& [url, host, port] : std::vector<Case>{{"http://h/d_1", "h", "8123"},
                                                         {"http://10.0.0.1:80/d", "10.0.0.1", "80"},
                                                         {"http://[::1]:81/d", "::1", "81"},
                                                         {"http://[::1]/d", "::1", "8123"},
                                                         {"http://h", nullptr, nullptr},
                                                         {"http://h/", nullptr, nullptr},
                                                         {"http://h/d;x", nullptr, nullptr},
                                                         {"http://h:/d", nullptr, nullptr},
                                                         {"http://h:x/d", nullptr, nullptr},
                                                         {"http://u:p@h/d", nullptr, nullptr},
                                                         {"https://h/d", "h", "8443"},
                                                         {"", nullptr, nullptr}}) {
    if (host == nullptr) {
      EXPECT_THROW(WarehouseAddress::read(url), WarehouseFailure) << url;
      continue;
    }
    const auto address = WarehouseAddress::read(url);
    EXPECT_THAT((std::vector{address.server.host, address.server.port}), ElementsAre(host, port)) << url;
  }
}

}  // namespace
}  // namespace collector

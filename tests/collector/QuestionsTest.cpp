// What the questions answer, on a small archive that can be counted by hand, and which ones are refused.
#include "collector/questions/Questions.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "collector/ArchiveOf.h"
#include "collector/Records.h"
#include "collector/questions/ArchiveEngine.h"

namespace collector {
namespace {

using namespace testing;

constexpr std::int64_t kDay = 20'463;  // 2026-01-10

// Records of one player's, each with an uuid of its own.
class Life {
 public:
  Life(std::string userId, std::string platform, std::string more)
      : userId_(std::move(userId)), more_(std::move(more)) {
    platform_ = std::move(platform);
  }
  Life& on(std::int64_t day, std::string_view category, std::string_view own = "", std::int64_t second = 5) {
    std::string text = replaced(record(category, own), "\"user_id\":\"u\"", fmt::format("\"user_id\":\"{}\"", userId_));
    text = replaced(text, "\"client_ts\":1700000000", fmt::format("\"client_ts\":{}", day * 86'400 + second));
    text = replaced(text, "\"platform\":\"linux\"", fmt::format("\"platform\":\"{}\"", platform_));
    text = replaced(text, "00000000000f", fmt::format("{:012x}", ++count()));
    text = replaced(text, "\"build\":\"\"", "\"build\":\"1\"" + more_);
    records_ += (records_.empty() ? "" : ",") + text;
    return *this;
  }
  Life& onNoDay(std::string_view category, std::string_view own) {
    on(0, category, own);
    records_ = replaced(records_, "\"client_ts\":5,", "");
    return *this;
  }
  [[nodiscard]] const std::string& records() const { return records_; }

 private:
  static int& count() {
    static int records = 0;
    return records;
  }
  std::string userId_, platform_, more_, records_;
};

constexpr auto kImpression = R"("ad_network_name":"admob","ad_network_version":"1","impression_data":)"
                             R"({"revenue":0.125,"currency":"USD"})";
constexpr auto kInstall = R"("install":true)";

std::string month() {
  Life anna("anna", "ios", R"(,"ab_id":"test","ab_variant_id":"a","custom_01":"knight")");
  anna.on(kDay, "user", kInstall)
      .on(kDay, "progression", R"("event_id":"Start:w:1")")
      .on(kDay, "progression", R"("event_id":"Fail:w:1","score":3)")
      .on(kDay, "progression", R"("event_id":"Start:w:1")")
      .on(kDay, "progression", R"("event_id":"Complete:w:1","score":10,"attempt_num":2)")
      .on(kDay, "design", R"("event_id":"a:b","value":1.5,"custom_fields":{"weapon":"sword","perfect":true})")
      .on(kDay, "design", R"("event_id":"a:c:d","value":-0.25,"custom_fields":{"weapon":"sword"})")
      .on(kDay, "business", R"("event_id":"pack:gold","currency":"USD","amount":199,"transaction_num":1)")
      .on(kDay, "resource", R"("event_id":"Source:gems:quest:daily","amount":10)")
      .on(kDay, "resource", R"("event_id":"Sink:gems:shop:hat","amount":-4.5)")
      .on(kDay, "error", R"("severity":"critical","message":"boom, \"said\" it")")
      .on(kDay, "ads", R"("ad_sdk_name":"max","ad_placement":"menu","ad_type":"video","ad_action":"show")")
      .on(kDay, "impression", kImpression)
      .on(kDay, "session_end", R"("length":60)")
      .on(kDay + 1, "user")
      .on(kDay + 1, "session_end", R"("length":30)");
  Life ben("ben", "linux", R"(,"ab_id":"test","ab_variant_id":"b")");
  ben.on(kDay, "user", kInstall)
      .on(kDay, "progression", R"("event_id":"Start:w:1")")
      .on(kDay + 1, "resource", R"("event_id":"Source:gems:quest:daily","amount":2)")
      .on(kDay + 3, "business", R"("event_id":"pack:gold","currency":"EUR","amount":100,"transaction_num":1)");
  Life cleo("cleo", "linux", "");
  cleo.on(kDay + 1, "user", kInstall).on(kDay + 1, "session_end", R"("length":9000)");
  Life later("cleo", "linux", R"(,"custom_01":"knight")");
  later.on(kDay + 2, "user").onNoDay("design", R"("event_id":"a")");
  Life dora("dora", "linux", "");
  dora.onNoDay("design", R"("event_id":"a")").on(kDay + 40, "user", kInstall);
  return '[' + anna.records() + ',' + ben.records() + ',' + cleo.records() + ',' + later.records() + ',' +
         dora.records() + ']';
}

std::string answer(Engine& engine, const std::string& name, std::map<std::string, std::string> parameters) {
  for (const auto& [key, value] : {std::pair("game", ArchiveOf::kGame), {"from", "2026-01-01"}, {"to", "2026-01-31"}})
    parameters.emplace(key, value);
  try {
    std::string csv = asCsv(ask(engine, *findQuestion(name), parameters));
    std::erase(csv, '\r');
    return csv;
  } catch (const BadQuestion& bad) {
    return bad.what();
  }
}

using Parameters = std::map<std::string, std::string>;
struct Case {
  std::string question;
  Parameters parameters;
  std::string answer;
};

TEST(AQuestion, IsAnsweredByCountingEachRecordOnce) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  const auto records = month();
  archive.take(records);
  archive.take(records);  // a game that had no answer sends again
  for (const auto& [question, parameters, expected] : std::vector<Case>{
           {"overview",
            {},
            "day,players,new_players,sessions,ended,seconds\n"
            "2026-01-10,2,2,2,1,60\n"
            "2026-01-11,3,1,2,2,9030\n"
            "2026-01-12,1,0,1,0,0\n"
            "2026-01-13,1,0,0,0,0\n"},
           {"overview",
            {{"whole", "yes"}},
            "players,new_players,sessions,ended,seconds\n"
            "3,3,5,3,9090\n"},
           {"overview",
            {{"platform", "linux"}},
            "day,players,new_players,sessions,ended,seconds\n"
            "2026-01-10,1,1,1,0,0\n"
            "2026-01-11,2,1,1,1,9000\n"
            "2026-01-12,1,0,1,0,0\n"
            "2026-01-13,1,0,0,0,0\n"},
           {"overview",
            {{"custom_01", "knight"}, {"whole", "yes"}},
            "players,new_players,sessions,ended,seconds\n"
            "2,1,3,2,90\n"},
           {"overview",
            {{"from", "1970-01-01"}, {"to", "1970-01-01"}},
            "day,players,new_players,sessions,ended,seconds\n"
            "1970-01-01,2,0,0,0,0\n"},
           {"events",
            {},
            "category,events,players\n"
            "progression,5,2\n"
            "user,5,3\n"
            "resource,3,2\n"
            "session_end,3,2\n"
            "business,2,2\n"
            "design,2,1\n"
            "ads,1,1\n"
            "error,1,1\n"
            "impression,1,1\n"},
           {"sessions",
            {},
            "sessions,mean,percent10,percent25,percent50,percent75,percent90,percent99\n"
            "3,3030,30,30,60,9000,9000,9000\n"},
           {"sessions",
            {{"ab_variant_id", "a"}},
            "sessions,mean,percent10,percent25,percent50,percent75,percent90,percent99\n"
            "2,45,30,30,30,60,60,60\n"},
           {"retention",
            {},
            "first_day,days_later,players,share\n"
            "2026-01-10,0,2,1\n"
            "2026-01-10,1,2,1\n"
            "2026-01-10,3,1,0.5\n"
            "2026-01-11,0,1,1\n"
            "2026-01-11,1,1,1\n"},
           {"retention",
            {{"custom_01", "knight"}},
            "first_day,days_later,players,share\n"
            "2026-01-10,0,1,1\n"
            "2026-01-10,1,1,1\n"},
           {"retention",
            {{"custom_01", ""}},  // who is somewhere else later on has come back all the same
            "first_day,days_later,players,share\n"
            "2026-01-10,0,1,1\n"
            "2026-01-10,1,1,1\n"
            "2026-01-10,3,1,1\n"
            "2026-01-11,0,1,1\n"
            "2026-01-11,1,1,1\n"},
           {"revenue",
            {},
            "currency,events,players,total\n"
            "EUR,1,1,100\n"
            "USD,1,1,199\n"},
           {"revenue",
            {{"by", "platform,item_id"}, {"daily", "yes"}},
            "day,platform,item_id,events,players,total\n"
            "2026-01-10,ios,gold,1,1,199\n"
            "2026-01-13,linux,gold,1,1,100\n"},
           {"revenue",
            {{"by", ""}},
            "events,players,total\n"
            "2,2,299\n"},
           {"levels",
            {},
            "progression01,progression02,progression03,starts,fails,completes,players_started,players_failed,players_"
            "completed,completed_share,mean_score,players_stopped,players_left,timed_tries,mean_seconds\n"
            "w,1,,3,1,1,2,1,1,0.5,10,1,1,0,\n"},
           {"levels",
            {{"daily", "yes"}, {"platform", "linux"}},
            "day,progression01,progression02,progression03,starts,fails,completes,players_started,players_failed,"
            "players_completed,completed_share,mean_score,players_stopped,players_left,timed_tries,mean_seconds\n"
            "2026-01-10,w,1,,1,0,0,1,0,0,0,,1,0,0,\n"},
           {"sessions",
            {{"daily", "yes"}},
            "day,sessions,mean,percent10,percent25,percent50,percent75,percent90,percent99\n"
            "2026-01-10,1,60,60,60,60,60,60,60\n"
            "2026-01-11,2,4515,30,30,30,9000,9000,9000\n"},
           {"economy",
            {},
            "currency,sources,players_earning,earned,sinks,players_spending,spent,balance,players\n"
            "gems,2,2,12,1,1,4.5,7.5,2\n"},
           {"economy",
            {{"by", "item_type"}, {"daily", "yes"}},
            "day,item_type,sources,players_earning,earned,sinks,players_spending,spent,balance\n"
            "2026-01-10,quest,1,1,10,0,0,0,10\n"
            "2026-01-10,shop,0,0,0,1,1,4.5,-4.5\n"
            "2026-01-11,quest,1,1,2,0,0,0,2\n"},
           {"designs",
            {},
            "part1,events,players,valued,total,least,most\n"
            "a,2,1,2,1.25,-0.25,1.5\n"},
           {"designs",
            {{"under", "a"}},
            "part2,events,players,valued,total,least,most\n"
            "b,1,1,1,1.5,1.5,1.5\n"
            "c,1,1,1,-0.25,-0.25,-0.25\n"},
           {"designs",
            {{"from", "1970-01-01"}},
            "part1,events,players,valued,total,least,most\n"
            "a,4,3,2,1.25,-0.25,1.5\n"},
           {"errors",
            {},
            "severity,message,events,players\n"
            "critical,\"boom, \"\"said\"\" it\",1,1\n"},
           {"ads",
            {},
            "ad_network,ad_placement,ad_type,ad_action,events,players\n"
            "max,menu,video,show,1,1\n"},
           {"ads", {{"by", "ad_network"}, {"build", "2"}}, "ad_network,events,players\n"},
           {"impressions",
            {},
            "ad_network,currency,events,players,total\n"
            "admob,USD,1,1,0.125\n"},
           {"groups",
            {},
            "ab_id,ab_variant_id,players,new_players,sessions,ended,seconds,new_with_next_day,back_next_day,"
            "sessions_squares,ended_squares,seconds_squares,ended_by_seconds,currency,purchases,payers,amount,"
            "amount_squares\n"
            ",,1,1,2,1,9000,1,1,4,1,81000000,9000,,0,0,,\n"
            "test,a,1,1,2,2,90,1,1,4,4,8100,180,USD,1,1,199,39601\n"
            "test,b,1,1,1,0,0,1,1,1,0,0,0,EUR,1,1,100,10000\n"},
           {"groups",
            {{"ab_variant_id", "b"}},
            "ab_id,ab_variant_id,players,new_players,sessions,ended,seconds,new_with_next_day,back_next_day,"
            "sessions_squares,ended_squares,seconds_squares,ended_by_seconds,currency,purchases,payers,amount,"
            "amount_squares\n"
            "test,b,1,1,1,0,0,1,1,1,0,0,0,EUR,1,1,100,10000\n"},
           {"values",
            {},
            "low,high,events\n"
            "-0.25,-0.1625,1\n-0.1625,-0.075,0\n-0.075,0.0125,0\n0.0125,0.1,0\n0.1,0.1875,0\n0.1875,0.275,0\n"
            "0.275,0.3625,0\n0.3625,0.45,0\n0.45,0.5375,0\n0.5375,0.625,0\n0.625,0.7125,0\n0.7125,0.8,0\n"
            "0.8,0.8875,0\n0.8875,0.975,0\n0.975,1.0625,0\n1.0625,1.15,0\n1.15,1.2375,0\n1.2375,1.325,0\n"
            "1.325,1.4125,0\n1.4125,1.5,1\n"},
           {"values", {{"under", "a:b"}}, "low,high,events\n1.5,1.5,1\n"},
           {"designs",
            {{"by", "field:weapon"}},
            "part1,field:weapon,events,players,valued,total,least,most\n"
            "a,sword,2,1,2,1.25,-0.25,1.5\n"},
           {"designs",
            {{"by", "field:perfect"}, {"daily", "yes"}, {"under", "a"}},
            "day,part2,field:perfect,events,players,valued,total,least,most\n"
            "2026-01-10,b,true,1,1,1,1.5,1.5,1.5\n"
            "2026-01-10,c,,1,1,1,-0.25,-0.25,-0.25\n"},
           {"builds", {}, "build,first_day,last_day,players\n1,2026-01-10,2026-01-13,3\n"},
           {"builds", {{"custom_01", "knight"}}, "build,first_day,last_day,players\n1,2026-01-10,2026-01-12,2\n"},
           {"segments",
            {},
            "platform,build,custom_01,custom_02,custom_03,ab_id,ab_variant_id,players\n"
            "ios,1,knight,,,test,a,1\n"
            "linux,1,,,,,,1\n"
            "linux,1,,,,test,b,1\n"
            "linux,1,knight,,,,,1\n"},
           {"segments", {{"by", "custom_01"}, {"to", "2026-01-11"}}, "custom_01,players\n,2\nknight,1\n"},
           {"segments", {{"by", "platform"}, {"build", "1"}}, "platform,players\nlinux,2\nios,1\n"},
           {"players",
            {},
            "user_id,first_day,last_day\n"
            "anna,2026-01-10,2026-01-11\n"
            "ben,2026-01-10,2026-01-10\n"
            "cleo,2026-01-11,2026-01-12\n"},
           {"players",
            {{"starts", "c"}, {"to", "2026-01-11"}},
            "user_id,first_day,last_day\ncleo,2026-01-11,2026-01-11\n"},
           {"players", {{"starts", "c%"}}, "user_id,first_day,last_day\n"},
           {"first_purchases", {}, "days_later,players\n0,1\n3,1\n"},
           {"first_purchases", {{"from", "2026-01-11"}}, "days_later,players\n"},
           {"first_purchases", {{"platform", "linux"}}, "days_later,players\n3,1\n"},
           {"hours",
            {},
            "day,hour,players,sessions,events\n"
            "2026-01-10,0,2,2,16\n"
            "2026-01-11,0,3,2,5\n"
            "2026-01-12,0,1,1,1\n"
            "2026-01-13,0,1,0,1\n"},
       })
    EXPECT_EQ(answer(engine, question, parameters), expected) << question << ' ' << PrintToString(parameters);
}

// Time, category and player of each row, without the records.
std::string found(Engine& engine, Parameters parameters) {
  for (const auto& [key, value] : {std::pair("game", ArchiveOf::kGame), {"from", "2026-01-01"}, {"to", "2026-01-31"}})
    parameters.emplace(key, value);
  const Table table = ask(engine, *findQuestion("rows"), parameters);
  std::string all;
  for (const Line& row : table.rows) {
    const auto& record = std::get<std::string>(row[7]);
    EXPECT_THAT(record, HasSubstr(fmt::format(R"("client_ts":{})", std::get<std::int64_t>(row[0]))));
    EXPECT_THAT(record, HasSubstr(fmt::format(R"("user_id":"{}")", std::get<std::string>(row[3]))));
    all += fmt::format("{} {} {}, ", std::get<std::int64_t>(row[0]) / 86'400 - kDay, std::get<std::string>(row[2]),
                       std::get<std::string>(row[3]));
  }
  return all + (table.isCut ? "more" : "");
}

TEST(Rows, AreTheEventsBehindANumber) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  const std::string kSession = "0a1b2c3d-0000-4000-8000-0000000000aa", kOther = "0a1b2c3d-0000-4000-8000-0000000000ab";
  auto records = month();
  archive.take(records);
  auto dead = Life("ben", "linux", "").on(kDay + 20, "error", R"("severity":"error","message":"x")").records();
  archive.take('[' + replaced(dead, R"("session_id":"")", fmt::format(R"("session_id":"{}")", kSession)) + ']');
  for (const auto& [parameters, expected] : std::vector<std::pair<Parameters, std::string>>{
           {{{"category", "business"}}, "3 business ben, 0 business anna, "},
           {{{"category", "business"}, {"limit", "1"}}, "3 business ben, more"},
           {{{"currency", "USD"}}, "0 impression anna, 0 business anna, "},
           {{{"message", "boom, \"said\" it"}}, "0 error anna, "},
           {{{"severity", "critical"}, {"message", "x"}}, ""},
           {{{"message", "never said"}}, ""},
           {{{"progression01", "w"}, {"status", "Start"}, {"progression03", ""}, {"platform", "linux"}},
            "0 progression ben, "},
           {{{"under", "a:c"}}, "0 design anna, "},
           {{{"under", "a"}, {"from", "1970-01-01"}, {"to", "1970-01-01"}, {"user_id", "x"}}, ""},
           {{{"flow", "Sink"}, {"item_type", "shop"}, {"item_id", "hat"}}, "0 resource anna, "},
           {{{"ad_network", "max"}, {"ad_action", "show"}}, "0 ads anna, "},
           {{{"user_id", "ben"}}, "20 error ben, 3 business ben, 1 resource ben, 0 progression ben, 0 user ben, "},
           {{{"user_id", "ben"}, {"limit", "2"}, {"to", "2026-01-13"}}, "3 business ben, 1 resource ben, more"},
           {{{"session_id", kSession}}, "20 error ben, "},
           {{{"session_id", kSession}, {"user_id", "anna"}}, ""},
           {{{"session_id", kOther}}, ""},
           {{{"custom_01", "knight"}, {"from", "2026-01-11"}}, "2 user cleo, 1 session_end anna, 1 user anna, "},
       })
    EXPECT_EQ(found(engine, parameters), expected) << PrintToString(parameters);
  std::string crowd;  // in one second, by many players
  for (int player = 0; player < 30; ++player)
    crowd +=
        Life(fmt::format("p{:02}", player), "linux", "").on(kDay + 15, "user").on(kDay + 15, "user").records() + ',';
  crowd.back() = ']';
  archive.take('[' + crowd);
  EXPECT_EQ(found(engine, {{"category", "user"}, {"limit", "3"}}), "15 user p29, 15 user p29, 15 user p28, more");
}

// Each level as stopped/left, tries/their mean.
std::string progress(Engine& engine, const std::string& to) {
  const Table table =
      ask(engine, *findQuestion("levels"), {{"game", ArchiveOf::kGame}, {"from", "1970-01-01"}, {"to", to}});
  std::string all;
  for (const Line& row : table.rows) {
    const auto* counts = &row.back() - 3;
    all += fmt::format("{}{}:{}/{},{}/{} ", textOf(row[0]), textOf(row[1]), wholeOf(counts[0]), wholeOf(counts[1]),
                       wholeOf(counts[2]), numberOf(counts[3]));
  }
  return all;
}

TEST(Levels, SayWherePlayersEndAndHowLongTheyTry) {
  struct Step {
    std::int64_t second;
    std::string_view what;
    std::int64_t day = kDay;
  };
  struct Player {
    std::vector<Step> steps;
    std::string firstDay, bothDays;
  };
  for (const auto& [steps, firstDay, bothDays] : std::vector<Player>{
           {{{5, "Start:w:1"}}, "w1:1/0,0/0 ", "w1:1/0,0/0 "},
           // The last one counts, not the furthest; who has ever completed a level isn't stuck there.
           {{{5, "Complete:w:2"}, {6, "Start:w:1", kDay + 1}}, "w2:0/1,0/0 ", "w1:1/0,0/0 w2:0/0,0/0 "},
           {{{5, "Complete:w:2"}, {6, "Start:w:2"}, {9, "Fail:w:2"}}, "w2:0/1,1/3 ", "w2:0/1,1/3 "},
           // Of one second, the start comes last.
           {{{5, "Start:w:1"}, {9, "Start:w:2"}, {9, "Complete:w:1"}},
            "w1:0/0,1/4 w2:1/0,0/0 ",
            "w1:0/0,1/4 w2:1/0,0/0 "},
           {{{0, "Start:w:1"}, {30, "Start:w:1"}, {30, "Fail:w:1"}, {90, "Complete:w:1"}},
            "w1:0/1,2/45 ",
            "w1:0/1,2/45 "},
           {{{5, "Fail:w:1"}, {5, "Complete:w:2"}}, "w1:1/0,0/0 w2:0/1,0/0 ", "w1:1/0,0/0 w2:0/1,0/0 "},
           // A try that was given up, one with two ends, and ends without any.
           {{{5, "Start:w:1"}, {100, "Start:w:1"}, {110, "Fail:w:1"}, {120, "Fail:w:1"}, {130, "Start:w:2"}},
            "w1:0/0,1/10 w2:1/0,0/0 ",
            "w1:0/0,1/10 w2:1/0,0/0 "},
           // A day is the longest.
           {{{5, "Start:w:1"}, {5, "Fail:w:1", kDay + 1}}, "w1:1/0,0/0 ", "w1:1/0,1/86400 "},
           {{{5, "Start:w:1"}, {6, "Fail:w:1", kDay + 1}}, "w1:1/0,0/0 ", "w1:1/0,0/0 "},
           // Of the first day of 1970 no time is known.
           {{{5, "Start:w:1", 0}, {9, "Fail:w:1", 0}}, "w1:1/0,0/0 ", "w1:1/0,0/0 "}}) {
    ArchiveOf archive;
    ArchiveEngine engine(archive.store.readers());
    Life life("u", "linux", "");
    for (const auto& [second, what, day] : steps)
      life.on(day, "progression",
              fmt::format(R"("event_id":"{}"{})", what, what.starts_with("Complete") ? R"(,"attempt_num":1)" : ""),
              second);
    archive.take('[' + life.records() + ']');
    EXPECT_EQ(progress(engine, "2026-01-10"), firstDay);
    EXPECT_EQ(progress(engine, "2026-01-11"), bothDays);
  }
}

TEST(Values, AreSpreadThoughOneIsAbsurd) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  Life eve("eve", "linux", "");
  for (int value = 0; value < 199; ++value) eve.on(kDay, "design", fmt::format(R"("event_id":"d","value":{})", value));
  archive.take('[' + eve.on(kDay, "design", R"("event_id":"d","value":1e300)").records() + ']');
  const auto spread = answer(engine, "values", {});
  EXPECT_THAT(spread, StartsWith("low,high,events\n0,11.8,12\n11.8,21.6,10\n"));  // the second lowest one is 2
  EXPECT_THAT(spread, EndsWith("\n178.4,188.2,10\n188.2,9000000000000,11\n"));
  for (int times = 0; times < 301; ++times) eve.on(kDay, "design", R"("event_id":"same:but","value":7)");
  eve.on(kDay, "design", R"("event_id":"same:two","value":4)").on(kDay, "design", R"("event_id":"same:two","value":8)");
  archive.take('[' + eve.records() + ']');
  const auto nearlyAll = answer(engine, "values", {{"under", "same"}});
  EXPECT_THAT(nearlyAll, StartsWith("low,high,events\n4,4.2,1\n4.2,4.4,0\n")) << "no percentiles to go by";
  EXPECT_THAT(nearlyAll, AllOf(HasSubstr("\n7,7.2,301\n"), EndsWith("\n7.8,8,1\n")));
}

TEST(PlayersOfACurrency, AreThoseWhoEarnedOrSpentItEachOnce) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  constexpr auto kEarned = R"("event_id":"Source:gems:quest:daily","amount":10)";
  constexpr auto kSpent = R"("event_id":"Sink:gems:shop:hat","amount":-4)";
  Life saver("saver", "linux", ""), spender("spender", "linux", ""), both("both", "linux", "");
  saver.on(kDay, "resource", kEarned);
  spender.on(kDay, "resource", kSpent);  // of what came before
  both.on(kDay, "resource", kEarned).on(kDay + 1, "resource", kSpent);
  archive.take('[' + saver.records() + ',' + spender.records() + ',' + both.records() + ']');
  EXPECT_EQ(answer(engine, "economy", {}),
            "currency,sources,players_earning,earned,sinks,players_spending,spent,balance,players\n"
            "gems,2,2,20,2,2,8,12,3\n");
}

// A game's secret is in every copy of it: who sends nonsense must not put an end to the sums.
TEST(AQuestion, IsAnsweredWhateverARecordSays) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  Life eve("eve", "linux", "");
  for (int times = 0; times < 3; ++times) eve.on(kDay, "session_end", R"("length":9223372036854775807)");
  eve.on(kDay + 1, "session_end", R"("length":123456789012)");
  eve.onNoDay("session_end", R"("length":7)");
  for (const char* value : {"1e300", "-1e300", "899999999999"})
    eve.on(kDay, "design", fmt::format(R"("event_id":"d","value":{})", value));
  archive.take('[' + eve.records() + ']');
  std::string bins = "low,high,events\n";
  for (std::int64_t bin = -10; bin < 10; ++bin)
    bins += fmt::format("{},{},{}\n", bin * 900'000'000'000, (bin + 1) * 900'000'000'000,
                        bin == -10 || bin == 0 || bin == 9 ? 1 : 0);
  for (const auto& [question, parameters, expected] : std::vector<Case>{
           {"overview", {{"whole", "yes"}}, "players,new_players,sessions,ended,seconds\n1,1,0,4,399999999996\n"},
           {"overview",
            {{"to", "2026-01-10"}},
            "day,players,new_players,sessions,ended,seconds\n2026-01-10,1,1,0,3,299999999997\n"},
           {"sessions",
            {{"from", "1970-01-01"}},
            "sessions,mean,percent10,percent25,percent50,percent75,percent90,percent99\n"
            "5,80000000000.6,7,99999999999,99999999999,99999999999,99999999999,99999999999\n"},
           {"retention",
            {{"from", "1970-01-01"}},
            "first_day,days_later,players,share\n2026-01-10,0,1,1\n2026-01-10,1,1,1\n"},
           {"retention", {{"from", "1970-01-01"}, {"to", "1970-01-01"}}, "first_day,days_later,players,share\n"},
           {"values", {}, bins},
       })
    EXPECT_EQ(answer(engine, question, parameters), expected) << question << ' ' << PrintToString(parameters);
}

TEST(AQuestion, HasAnAnswerWithoutAnyData) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  for (const Question& question : questions()) {
    const auto said = answer(engine, std::string(question.name),
                             question.name == "player" ? Parameters{{"user_id", "x"}} : Parameters());
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), question.name == "sessions" ? 2 : 1) << said;
  }
  EXPECT_EQ(answer(engine, "overview", {{"whole", "yes"}}), "players,new_players,sessions,ended,seconds\n0,0,0,0,0\n");
  EXPECT_EQ(
      asJson(ask(engine, *findQuestion("sessions"), {{"game", "none"}, {"from", "1970-01-01"}, {"to", "9999-12-31"}})),
      R"({"columns":["sessions","mean","percent10","percent25","percent50","percent75","percent90","percent99"],)"
      R"("rows":[[0,null,null,null,null,null,null,null]],"complete":true})");
}

TEST(AQuestion, IsRefusedWithWhatItTakes) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  const std::string kDate = ": it must be a day from 1970-01-01 to 9999-12-31, such as 2026-11-22";
  for (const auto& [question, parameters, expected] : std::vector<Case>{
           {"overview", {{"from", "2026-02-01"}}, "from: it is later than to"},
           {"overview", {{"game", ""}}, "game: it is missing"},
           {"overview", {{"from", "2026-02-30"}}, "from" + kDate},
           {"overview", {{"from", "1969-12-31"}}, "from" + kDate},
           {"overview", {{"from", "-999-12-31"}}, "from" + kDate},
           {"overview", {{"to", "10000-01-01"}}, "to" + kDate},
           {"overview", {{"to", "2026-1-111"}}, "to" + kDate},
           {"overview", {{"to", "2026-1-022"}}, "to" + kDate},
           {"overview", {{"to", ""}}, "to" + kDate},
           {"overview", {{"whole", "1"}}, "whole: it is yes or no"},
           {"overview", {{"by", "build"}}, "by: overview takes no such parameter"},
           {"economy",
            {{"by", "flow"}},
            "by: \"flow\" is none of currency, item_type, item_id, platform, build, "
            "custom_01, custom_02, custom_03, ab_id, ab_variant_id"},
           {"errors", {{"by", "severity,severity"}}, "by: \"severity\" is there twice"},
           {"designs", {{"under", "a:b:c:d:e:f"}}, "under: an event id has at most five parts"},
           {"player", {}, "user_id: it is missing"},
           {"player", {{"user_id", "u"}, {"limit", "0"}}, "limit: it must be a whole number from 1 to 10000"},
           {"rows", {{"limit", "1001"}}, "limit: it must be a whole number from 1 to 1000"},
           {"rows", {{"session_id", "x"}}, "session_id: it must be a UUID in lower case"},
           {"rows",
            {{"session_id", "0A1B2C3D-0000-4000-8000-0000000000AA"}},
            "session_id: it must be a UUID in lower case"},
           {"hours", {{"from", "2025-12-31"}}, "hours: of at most 31 days"},
           {"designs", {{"by", "field:"}}, "by: field:NAME takes the name of a custom field"},
       })
    EXPECT_EQ(answer(engine, question, parameters), expected) << question << ' ' << PrintToString(parameters);
  EXPECT_THROW(ask(engine, *findQuestion("overview"), {{"game", "g"}, {"to", "2026-01-01"}}), BadQuestion);
}

TEST(AnAnswer, SaysWhenThereIsMore) {
  ArchiveOf archive;
  ArchiveEngine engine(archive.store.readers());
  archive.take(month());
  const auto complete = [&](const char* limit) {
    const auto table = ask(engine, *findQuestion("player"),
                           {{"game", ArchiveOf::kGame},
                            {"from", "2026-01-01"},
                            {"to", "2026-12-31"},
                            {"user_id", "ben"},
                            {"limit", limit}});
    return fmt::format("{} {}", table.rows.size(), asJson(table).ends_with("\"complete\":true}"));
  };
  EXPECT_EQ(complete("4"), "4 true");
  EXPECT_EQ(complete("3"), "3 false");
  const auto fieldsOf = [&](std::size_t limit) {
    return engine.fields({ArchiveOf::kGame, kDay, kDay, {}},
                         {.category = "design", .by = {Column::part1}, .sums = {}, .limit = limit});
  };
  EXPECT_EQ(fieldsOf(2).value().size(), 2U);
  EXPECT_FALSE(fieldsOf(1));
  for (int record = 0; record < 40; ++record)
    archive.take('[' +
                 Life("wordy", "linux", fmt::format(R"(,"unknown":"{}")", std::string(1'000'000, 'x')))
                     .on(kDay + 2, "user")
                     .records() +
                 ']');
  for (const char* question : {"player", "rows"}) {
    const auto large =
        ask(engine, *findQuestion(question),
            {{"game", ArchiveOf::kGame}, {"from", "2026-01-01"}, {"to", "2026-01-31"}, {"user_id", "wordy"}});
    EXPECT_TRUE(large.isCut);
    EXPECT_EQ(large.rows.size(), 34U);
  }
  std::string many;
  for (int group = 0; group < 50; ++group)
    many += Life("eve", "linux", fmt::format(R"(,"ab_id":"test","ab_variant_id":"more{}")", group))
                .on(kDay, "user")
                .records() +
            ',';
  many.back() = ']';
  archive.take('[' + many);
  const auto groups =
      ask(engine, *findQuestion("groups"), {{"game", ArchiveOf::kGame}, {"from", "2026-01-01"}, {"to", "2026-01-31"}});
  EXPECT_TRUE(groups.isCut);
  EXPECT_EQ(groups.rows.size(), 50U);
}

}  // namespace
}  // namespace collector

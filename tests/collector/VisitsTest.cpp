#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <any>
#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>

#include "collector/Metrics.h"
#include "collector/Readiness.h"
#include "collector/Status.h"
#include "collector/archive/Store.h"
#include "collector/base/Json.h"
#include "collector/base/Log.h"
#include "collector/front/Address.h"
#include "collector/visits/Line.h"
#include "collector/visits/Visits.h"
#include "support/TemporaryFolder.h"

namespace collector {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

const std::string kKnown(32, 'k');

// A log that is read from the other end of a pipe.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
  ~Pipe() {
    for (const int end : ends_) ::close(end);
  }
  [[nodiscard]] int in() const { return ends_[1]; }
  // All until there is this text.
  std::string readUntil(const std::string& text) {
    std::array<char, 4096> bytes{};
    while (read_.find(text) == std::string::npos) {
      const auto count = ::read(ends_[0], bytes.data(), bytes.size());
      if (count <= 0) break;
      read_.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return read_;
  }

 private:
  std::array<int, 2> ends_{};
  std::string read_;
};

TEST(LogLine, SaysWhatARequestWasInEitherForm) {
  const std::chrono::sys_seconds at{1'763'794'995s};
  Entry entry{at + 7ms, "203.0.113.0", "POST", "/v2/k/events", "k", 200, "", 100, 20, 1500us, {400, 3, 1, ""}};
  EXPECT_EQ(lineOf(entry, Log::Form::text),
            "2025-11-22T07:03:15.007Z 203.0.113.0 POST /v2/k/events 200 game=k received=100 inflated=400 taken=3 "
            "refused=1 sent=20 ms=1.5");
  EXPECT_EQ(lineOf(entry, Log::Form::json),
            R"({"time":"2025-11-22T07:03:15.007Z","address":"203.0.113.0","method":"POST","path":"/v2/k/events",)"
            R"("status":200,"received":100,"inflated":400,"taken":3,"refused":1,"sent":20,"ms":1.5,"game":"k"})");
  entry.ending = "left";
  EXPECT_THAT(lineOf(entry, Log::Form::text), HasSubstr(" ms=1.5 ended=left"));
  EXPECT_THAT(lineOf(entry, Log::Form::json), HasSubstr(R"("ended":"left"})"));
  entry.path = "/a b\"\n\x80";
  entry.game = "";
  entry.status = 0;
  entry.ending = "overdue";
  entry.account = {0, 0, 0, "it's \"odd\"\n"};
  EXPECT_THAT(lineOf(entry, Log::Form::text), HasSubstr(" POST /a?b\"?? 0 game=- "));
  EXPECT_THAT(lineOf(entry, Log::Form::text), HasSubstr(" unanswered=overdue why=\"it's \"odd\"?\""));
  const auto line = lineOf(entry, Log::Form::json);
  const auto parsed = parseJson(line);
  ASSERT_EQ(parsed.failure, "") << line;
  EXPECT_EQ(textMember(parsed.document, "path"), "/a?b\"??");
  EXPECT_EQ(textMember(parsed.document, "unanswered"), "overdue");
  EXPECT_EQ(findMember(parsed.document, "game"), nullptr);
  EXPECT_EQ(shown(std::string(1000, 'x')).size(), 200u);
}

TEST(ShortenedAddress, IsANetwork) {
  struct Case {
    std::string address, shortened;
  };
  for (const auto& [address, shortened] :
       {Case{"203.0.113.77", "203.0.113.0"}, Case{"2001:db8:1:2:3:4:5:6", "2001:db8:1::"}, Case{"::1", "::"},
        Case{"127.0.0.1", "127.0.0.0"}, Case{"", "-"}, Case{"nobody", "-"}})
    EXPECT_EQ(front::shortenedAddress(address), shortened) << address;
}

class VisitsTest : public testing::Test {
 protected:
  explicit VisitsTest(Visits::Settings settings = {}) : log_(pipe_.in()), visits_(with(std::move(settings)), log_) {}

  void note(const std::string& target, int status, std::string_view ending = "", const Account& account = {},
            std::chrono::microseconds took = 1ms) {
    const std::any carried = account;
    visits_.note({"192.0.2.9", "POST", target, status, ending, 1, 2, took, carried});
  }
  static Visits::Settings with(Visits::Settings settings) {
    settings.gameOf = [](const front::Visit& visit) {
      return visit.target.find(kKnown) != std::string_view::npos ? kKnown : "";
    };
    return settings;
  }

  Pipe pipe_;
  Log log_;
  Visits visits_;
};

TEST_F(VisitsTest, KeepsNothingOfAQueryAndOnlyTheNetworkOfAClient) {
  note("/api/player?user_id=someone", 200);
  note("/last", 404);
  const auto lines = pipe_.readUntil("/last");
  EXPECT_THAT(lines, HasSubstr(" 192.0.2.0 POST /api/player 200 "));
  EXPECT_THAT(lines, Not(HasSubstr("someone")));
  ASSERT_EQ(visits_.refused().latest(9).size(), 1u);
  EXPECT_EQ(visits_.refused().latest(9).front().address, "192.0.2.0");
}

TEST_F(VisitsTest, KeepsWhatWasRefusedAsAWhole) {
  struct Case {
    int status;
    std::string ending;
    Account account;
    std::string why;  // "": it isn't kept
  };
  for (const auto& [status, ending, account, why] :
       {Case{200, "", {}, ""}, Case{201, "", {}, ""}, Case{400, "", {9, 3, 1, ""}, ""},
        Case{400, "", {9, 0, 1, ""}, ""}, Case{400, "", {9, 0, 0, "no JSON"}, "no JSON"},
        Case{401, "", {0, 0, 0, "unknown"}, "unknown"}, Case{404, "", {}, "refused"},
        Case{413, "", {}, "the body is too large"}, Case{0, "left", {}, ""}, Case{0, "overdue", {}, "overdue"},
        Case{0, "unanswered", {0, 0, 0, "full"}, "full"}}) {
    const auto before = visits_.refused().latest(RefusedVisits::kKept).size();
    note("/v2/" + kKnown + "/events", status, ending, account);
    const auto kept = visits_.refused().latest(RefusedVisits::kKept);
    ASSERT_EQ(kept.size(), before + (why.empty() ? 0 : 1)) << status << ' ' << ending;
    if (why.empty()) continue;
    EXPECT_EQ(kept.front().why, why);
    EXPECT_EQ(kept.front().game, kKnown);
  }
}

TEST_F(VisitsTest, KeepsTheLatestOnly) {
  constexpr auto kKept = RefusedVisits::kKept;
  for (std::size_t at = 0; at < kKept + 50; ++at) note(fmt::format("/{}{}", at, std::string(10'000, 'x')), 404);
  const auto kept = visits_.refused().latest(1000);
  ASSERT_EQ(kept.size(), kKept);
  EXPECT_THAT(kept.front().path, testing::StartsWith(fmt::format("/{}x", kKept + 49)));
  EXPECT_THAT(kept.back().path, testing::StartsWith("/50x"));
  EXPECT_LE(kept.front().path.size(), 200u);
}

TEST_F(VisitsTest, CountsAnswersByClassAndGamesOnesByTheirTime) {
  const std::string events = "/v2/" + kKnown + "/events";
  note(events, 200, "", {}, 1ms);
  note(events, 200, "", {}, 1001us);
  note(events, 401, "", {}, 11s);
  note(events, 0, "overdue", {}, 5ms);
  note("/health", 200, "", {}, 5ms);
  Counters counters;
  counters.refusedRecords = 5;
  front::Tally tally;
  tally.in(front::Phase::streaming) = 2;
  tally.count(front::Ending::overdue);
  const Shipper::Lag lag{4, std::time(nullptr) - 100, 1, "away", 9};
  const Watched watched{counters, visits_.numbers(),      {2, 5ms, "full"}, 77, 1000, 3, &tally, &lag,
                        6,        std::time(nullptr) - 60};
  const auto text = metricsText(watched);
  for (const char* line :
       {"answers_total{class=\"none\"} 1", "answers_total{class=\"2xx\"} 3", "answers_total{class=\"4xx\"} 1",
        "answer_seconds_bucket{le=\"0.001\"} 1", "answer_seconds_bucket{le=\"0.003\"} 2",
        "answer_seconds_bucket{le=\"10\"} 2", "answer_seconds_bucket{le=\"+Inf\"} 3", "answer_seconds_count 3",
        "archive_writable 0", "archive_waiting 2", "archive_last_write_seconds 0.005", "archive_bytes 77",
        "archive_free_bytes 1000", "connections_by_phase{phase=\"streaming\"} 2", "refused_records_total 5",
        "configurations_age_seconds 6", "lost_log_lines_total 3"})
    EXPECT_THAT(text, HasSubstr(fmt::format("\nzorvane_{}\n", line)));

  const auto status = statusJson(watched);
  ASSERT_EQ(parseJson(status).failure, "") << status;
  for (const char* part :
       {R"({"version":"0.)", R"("uptime_seconds":6)", R"("refused_records":5,)",
        R"("answers":{"none":1,"1xx":0,"2xx":3,"3xx":0,"4xx":1,"5xx":0})", R"("serving":0,"streaming":2})",
        R"("overdue":1,)",
        R"({"writable":false,"trouble":"full","waiting":2,"last_write_seconds":0.005,"bytes":77,)"
        R"("free_bytes":1000})",
        R"({"handed_on":9,"waiting_events":4,"lag_seconds":10)", R"("pending_erasures":1,"trouble":"away"})",
        R"("configurations_age_seconds":6,"lost_log_lines":3})"})
    EXPECT_THAT(status, HasSubstr(part));
  const auto bare = statusJson({counters, visits_.numbers(), {}, 0, {}, 0, nullptr, nullptr, {}, 0});
  ASSERT_EQ(parseJson(bare).failure, "") << bare;
  EXPECT_THAT(bare, HasSubstr(R"("warehouse":null,"configurations_age_seconds":null)"));
}

TEST(Log, LosesLinesRatherThanWaitForAReaderAndSaysSo) {
  Pipe pipe;
  Log log(pipe.in(), Log::Form::json);
  // Of 1 MiB that waits and 1 MiB that is being written, whenever that begins, a pipe takes a little.
  for (int count = 0; count < 4000; ++count) log.writeLine(std::string(1000, 'x'));
  EXPECT_GT(log.lost(), 1000);
  std::atomic<bool> isRead = false;
  std::thread reader([&] {
    EXPECT_THAT(pipe.readUntil("behind"), HasSubstr(" lines of the log were lost\"}\n{\"time\":"));
    isRead = true;
  });
  while (!isRead) {
    log.write("behind");
    std::this_thread::sleep_for(1ms);
  }
  reader.join();
}

TEST(Log, CountsLinesThatCannotBeWritten) {
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  {
    Log log(full);
    log.writeLine("1\n2\n3");  // at once: what is said of lines that are lost may be lost as well
    while (log.lost() < 3) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(log.lost(), 3);
  }
  ::close(full);
}

TEST(Log, EndsThoughNobodyReads) {
  Pipe pipe;
  Log log(pipe.in());
  for (int count = 0; count < 300; ++count) log.writeLine(std::string(1000, 'x'));
}

TEST(Readiness, IsLostByAFailedWriteAndComesBackByASuccessfulOne) {
  const TemporaryFolder folder;
  Store archive(folder.file("a.sqlite"));
  Readiness readiness(archive);
  const auto breakARule = [](sqlite3* database) { execute(database, "INSERT INTO games(key) VALUES(NULL)"); };
  EXPECT_EQ(readiness.trouble(), "");
  EXPECT_FALSE(archive.writeNow([](sqlite3*) { throw std::runtime_error("its own"); }));
  EXPECT_EQ(readiness.trouble(), "") << "the archive is well";
  EXPECT_FALSE(archive.writeNow(breakARule));
  EXPECT_THAT(readiness.trouble(), HasSubstr("NOT NULL"));
  for (int count = 0; count < 10'000 && !readiness.trouble().empty(); ++count) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(readiness.trouble(), "") << "it has tried again by itself";
}

}  // namespace
}  // namespace collector

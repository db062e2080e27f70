// What is passed on to those who listen to a game.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "collector/Records.h"
#include "collector/base/Json.h"
#include "collector/base/Signature.h"
#include "collector/intake/Intake.h"
#include "collector/live/Hub.h"

namespace collector {
namespace {

using namespace std::chrono_literals;
using namespace testing;

const std::string kGame(32, 'g'), kSecret(40, 's');

std::shared_ptr<Content> taken(std::string body, const std::string& game = kGame) {
  const Intake intake([](std::string_view) { return std::optional(kSecret); });
  Call call{"events", game, "", signatureOf(body, kSecret), "", "application/json", std::move(body)};
  return intake.takeEvents(std::move(call), 1'700'000'123).content;
}

std::string of(const std::string& user, const std::string& session = "") {
  return replaced(replaced(kDesign, R"("user_id":"u")", fmt::format(R"("user_id":"{}")", user)), R"("session_id":"")",
                  fmt::format(R"("session_id":"{}")", session));
}

std::string session(int number) { return fmt::format("{:08x}-0000-4000-8000-00000000000f", number); }

std::string listOf(std::size_t count, const std::string& each) {
  std::string list = "[";
  for (std::size_t at = 0; at < count; ++at) list += (at == 0 ? "" : ",") + each;
  return list + ']';
}

// The texts of a feed's entries.
std::vector<std::string> texts(const Feed& feed, const Interest& interest = {}, std::uint64_t behind = 0) {
  std::vector<std::string> all;
  for (const auto& entry : feed.after(behind, interest, Feed::kEntries)) all.push_back(entry->text);
  return all;
}

std::string dataOf(const std::string& event) {
  const auto begin = event.find("\ndata: ") + 7;
  return event.substr(begin, event.find("\n\n") - begin);
}

TEST(FeedOfAGame, ShowsARecordAsItWasSentAndARefusalWithItsReasons) {
  Feed feed(41);
  const auto hostile = replaced(of("a\\n\\nid: 7"), ",", "\n\r,\n");
  feed.add(*taken('[' + hostile + R"(,{"a":"<b>\u202e"}])"), {}, {});
  feed.add(*taken("[1,"), {}, {});
  const auto all = texts(feed);
  ASSERT_THAT(all, SizeIs(3));
  for (std::size_t at = 0; at < all.size(); ++at) {
    EXPECT_THAT(all[at], StartsWith(fmt::format("id: {}\nevent: {}\ndata: ", 42 + at, at == 0 ? "record" : "refused")));
    EXPECT_EQ(std::count(all[at].begin(), all[at].end(), '\n'), 4) << all[at];
    EXPECT_EQ(all[at].find('\r'), std::string::npos);
    EXPECT_EQ(parseJson(dataOf(all[at])).failure, "") << all[at];
  }
  const auto data = dataOf(all[0]);
  EXPECT_THAT(data,
              StartsWith(R"({"received_at":1700000123,"category":"design","user_id":"a\n\nid: 7","session_id":"",)"
                         R"("platform":"linux","build":"","bytes":)"));
  EXPECT_THAT(data, HasSubstr(R"("record":{"v":2 )"));
  EXPECT_THAT(dataOf(all[1]), AllOf(HasSubstr(R"("index":1,"reasons":[")"), HasSubstr(R"("record":"{\"a\":\"<b>)")));
  EXPECT_THAT(dataOf(all[2]), AllOf(HasSubstr(R"("index":-1,"reasons":[")"), HasSubstr(R"("record":"")")));
}

TEST(FeedOfAGame, LooksForThoseOfAPlayerOrASession) {
  Feed feed(0);
  feed.add(*taken(fmt::format(R"([{},{},{},{{"user_id":"b","x":1}},{{"user_id":"bb"}}])", of("a", session(1)),
                              of("b", session(1)), of("b", session(2)))),
           {}, {});
  struct Case {
    Interest interest;
    std::size_t fitting;
  };
  for (const auto& [interest, fitting] : {Case{{}, 5}, Case{{"a", ""}, 1}, Case{{"b", ""}, 3},
                                          Case{{"", session(1)}, 2}, Case{{"b", session(2)}, 1}, Case{{"c", ""}, 0}})
    EXPECT_THAT(texts(feed, interest), SizeIs(fitting));
  EXPECT_THAT(texts(feed, {}, 3), SizeIs(2));
  feed.forget("b");
  EXPECT_THAT(texts(feed), ElementsAre(HasSubstr(R"("user_id":"a")"), HasSubstr(R"(\"bb\")")));
}

TEST(FeedOfAGame, IsBoundedInBytesEntriesAndASecond) {
  Feed feed(0);
  Feed::Clock::time_point now{};
  const auto many = taken(listOf(450, of("u")));
  feed.add(*many, {}, now);
  EXPECT_EQ(texts(feed).size(), Feed::kRate) << "as many at once as in a second";
  const Interest looked("v", "");
  feed.add(*taken('[' + of("v") + ',' + of("u") + ']'), {&looked}, now);
  EXPECT_THAT(texts(feed, looked), SizeIs(1)) << "what somebody looks for isn't lost among the others";
  feed.add(*taken('[' + kTrouble + ",{}]"), {}, now);
  EXPECT_THAT(texts(feed).back(), HasSubstr("event: refused")) << "nor is what is wrong";
  EXPECT_THAT(texts(feed), Contains(HasSubstr(R"("category":"sdk_error")")));
  EXPECT_EQ(feed.last(), Feed::kRate + 3);
  for (int second = 0; second < 5; ++second) feed.add(*many, {}, now += 500ms);
  EXPECT_EQ(feed.last(), Feed::kRate + 3 + 5 * Feed::kRate / 2);
  for (int second = 0; second < 5; ++second) feed.add(*many, {}, now += 1s);
  EXPECT_EQ(texts(feed).size(), Feed::kEntries);

  const auto large = [](std::size_t bytes) {
    return replaced(kDesign, "{", fmt::format(R"({{"x":"{}",)", std::string(bytes, 'x')));
  };
  feed.add(*taken('[' + large(60'000) + ']'), {}, now += 1s);
  EXPECT_THAT(texts(feed).back(), HasSubstr("xxx"));
  feed.add(*taken('[' + large(1'000'000) + ']'), {}, now);
  EXPECT_THAT(texts(feed).back(), AllOf(HasSubstr(R"("bytes":1000)"), HasSubstr(R"("record":null)")));
  for (int each = 0; each < 40; ++each) feed.add(*taken('[' + large(60'000) + ']'), {}, now += 1s);
  std::size_t bytes = 0;
  for (const auto& each : texts(feed)) bytes += each.size();
  EXPECT_LE(bytes, Feed::kBytes);
  EXPECT_GE(bytes, Feed::kBytes / 2);
}

// One who listens, and what it has been sent.
class Ear {
 public:
  explicit Ear(std::shared_ptr<front::Stream> stream) : stream_(std::move(stream)) {}

  // All until there is that text; what there is when it doesn't come.
  std::string until(const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (heard_.find(text) == std::string::npos && std::chrono::steady_clock::now() < end) hear();
    return heard_;
  }
  void hear() {
    heard_ += stream_->take().bytes;
    std::this_thread::sleep_for(1ms);
  }
  [[nodiscard]] std::size_t count(const std::string& text) const {
    std::size_t found = 0;
    for (auto at = heard_.find(text); at != std::string::npos; at = heard_.find(text, at + 1)) ++found;
    return found;
  }
  // The number of the event that holds the text.
  [[nodiscard]] std::uint64_t numberOf(const std::string& text) const {
    return std::stoull(heard_.substr(heard_.rfind("id: ", heard_.find(text)) + 4));
  }
  [[nodiscard]] std::uint64_t skipped() const {
    std::uint64_t sum = 0;
    const std::string before = "event: skipped\ndata: {\"records\":";
    for (auto at = heard_.find(before); at != std::string::npos; at = heard_.find(before, at + 1))
      sum += std::stoull(heard_.substr(at + before.size()));
    return sum;
  }

 private:
  std::shared_ptr<front::Stream> stream_;
  std::string heard_;
};

class HubTest : public Test {
 protected:
  static Hub::Pace pace() {
    Hub::Pace pace;
    pace.between = 5ms;
    pace.betweenSkipped = 0ms;
    pace.silence = 50ms;
    return pace;
  }
  Ear ear(Interest interest = {}, std::optional<std::uint64_t> behind = {}, const std::string& game = kGame) {
    return Ear(hub_.listen({game, std::move(interest), behind}));
  }
  void add(const std::string& body, const std::string& game = kGame) { hub_.add(*taken(body, game)); }

  Hub hub_{pace()};
};

TEST_F(HubTest, PassesOnWhatComesToThoseWhoListenToThatGame) {
  auto all = ear(), ofOne = ear({"one", ""}), ofOther = ear({}, {}, std::string(32, 'o'));
  add('[' + of("one") + ',' + of("two") + ",{}]");
  add('[' + of("last") + ',' + of("one", session(99)) + ']');
  add('[' + of("else") + ']', std::string(32, 'o'));
  EXPECT_THAT(all.until(session(99)), AllOf(HasSubstr("event: refused"), Not(HasSubstr("else"))));
  EXPECT_EQ(all.count("event: record"), 4U);
  ofOne.until(session(99));
  EXPECT_EQ(ofOne.count("event: "), 2U);
  ofOther.until("else");
  EXPECT_EQ(ofOther.count("event: "), 1U);
  EXPECT_THAT(ofOther.until("\n\n:\n\n:\n\n"), StartsWith(": ")) << "in silence it says that it is there";
}

TEST_F(HubTest, BeginsWithTheLatestOrBehindTheLastThatWasHeard) {
  for (int each = 0; each < 80; ++each) add('[' + of(fmt::format("u{}.", each)) + ']');
  auto first = ear();
  first.until("u79.");
  EXPECT_EQ(first.count("event: record"), 50U);
  EXPECT_EQ(first.skipped(), 0U);
  auto back = ear({}, first.numberOf("u40."));
  back.until("u79.");
  EXPECT_EQ(back.count("event: record"), 39U);
  auto elsewhere = ear({}, UINT64_MAX);
  elsewhere.until("u79.");
  EXPECT_EQ(elsewhere.count("event: record"), 50U) << "no event has had that number";
}

TEST_F(HubTest, CountsWhatItPassesOver) {
  auto all = ear(), ofOne = ear({"one", ""});
  constexpr std::size_t kBatches = 20, kOfBatch = 400;
  for (std::size_t each = 0; each < kBatches; ++each) {
    auto batch = listOf(kOfBatch - 1, of("many"));
    batch.insert(batch.size() - 1, ',' + of("one", session(static_cast<int>(each))));
    add(batch);
  }
  add('[' + of("one", session(99)) + ']');
  ofOne.until(session(99));
  EXPECT_EQ(ofOne.count("event: record"), kBatches + 1);
  EXPECT_EQ(ofOne.skipped(), 0U);
  const auto came = kBatches * kOfBatch + 1;
  for (const auto end = std::chrono::steady_clock::now() + 30s;
       all.count("event: record") + all.skipped() < came && std::chrono::steady_clock::now() < end;)
    all.hear();
  EXPECT_EQ(all.count("event: record") + all.skipped(), came);
  EXPECT_GT(all.skipped(), came / 2);
}

TEST_F(HubTest, LeavesASlowListenerBehindAndForgetsOneThatIsGone) {
  const auto slow = hub_.listen({kGame});
  const std::weak_ptr<front::Stream> gone = hub_.listen({kGame});
  auto quick = ear();
  const auto large = replaced(kDesign, "{", fmt::format(R"({{"x":"{}",)", std::string(50'000, 'x')));
  for (int each = 0; each < 30; ++each) {
    add('[' + large + ',' + of(fmt::format("u{}.", each)) + ']');
    quick.until(fmt::format("u{}.", each));
  }
  EXPECT_EQ(quick.count("event: record"), 60U);
  EXPECT_TRUE(gone.expired());
  EXPECT_LT(slow->room(), 60'000U);
  Ear late(slow);
  late.until("u29.");
  EXPECT_EQ(late.count("event: record") + late.skipped(), 60U);
  EXPECT_GT(late.skipped(), 0U);
}

}  // namespace
}  // namespace collector

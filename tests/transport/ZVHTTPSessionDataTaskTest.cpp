#include "transport/ZVHTTPSessionDataTask.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kDebug = "Debug/ZV/System: ";
const std::string kRequest = kDebug + "ZVHTTPSessionDataTask request. ";
const std::string kNotHttp = kDebug + "ZVHTTPSessionDataTask response is not a NSHTTPURLResponse. Failing.";

struct Answer {
  std::optional<std::string> body;
  std::optional<ZVURLResponse> response;
  std::optional<ZVURLError> error;
};

// A request that ends when the test says so, also with answers that no real connection gives.
struct HeldRequest final : ZVURLSession, ZVURLDataTask, std::enable_shared_from_this<HeldRequest> {
  std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest, Completion given) override {
    completion = std::move(given);
    return shared_from_this();
  }
  void resume() override { ++resumed; }
  void cancel() override { end({std::nullopt, std::nullopt, ZVURLError{ZVURLError::kCancelled, "cancelled"}}); }
  void end(const Answer& answer) { std::exchange(completion, nullptr)(answer.body, answer.response, answer.error); }

  Completion completion;
  int resumed = 0;
};

class SessionDataTask : public testing::Test {
 protected:
  // Starts `task`; what its callbacks hear is added to `heard`, in words.
  static void perform(ZVHTTPSessionDataTask& task, std::vector<std::string>& heard) {
    task.performRequestWithSuccess(
        [&](const std::string& body, const ZVURLResponse& response) {
          heard.push_back(fmt::format("success {} {}", response.statusCode, body));
        },
        [&](const auto& error, const auto& response) {
          heard.push_back(fmt::format("failure {} {}", error ? std::to_string(error->code) : "-",
                                      response ? std::to_string(response->statusCode) : "-"));
        },
        {});
  }
  static auto makeTask() { return ZVHTTPSessionDataTask::initWithRequest({"http://host/", "POST", {}, "[1]"}); }

  std::shared_ptr<HeldRequest> network = std::make_shared<HeldRequest>();
  TestPlatform platform =
      TestPlatform::make([this](ZVPlatform& changed) { changed.makeURLSession = [this] { return network; }; });
  LogCapture log;
  std::vector<std::string> heard;
};

TEST_F(SessionDataTask, SortsWhateverASessionReports) {
  const ZVURLError refused{ZVURLError::kUserCancelledAuthentication, "refused"};
  const ZVURLError other{ZVURLError::kOther, "other"};
  const auto http = [](long status) { return ZVURLResponse{status, true}; };
  using Case = std::tuple<Answer, std::vector<std::string>, std::vector<std::string>>;
  for (const auto& [answer, outcomes, lines] :
       {Case{{"body", http(200), {}}, {"success 200 body"}, {}},
        Case{{"body", http(201), {}}, {"failure - -"}, {kRequest + "Unknown error"}},
        Case{{"body", http(400), {}}, {"failure - 400"}, {kRequest + "400 - Bad Request."}},
        Case{{"body", http(401), {}}, {"failure - 401"}, {kRequest + "401 - Unauthorized."}},
        Case{{"body", http(500), {}}, {"failure - 500"}, {kRequest + "500 - Internal Server Error."}},
        Case{{"", http(0), refused}, {"failure -1012 0"}, {kRequest + "401 - Unauthorized."}},
        Case{{"body", ZVURLResponse{200, false}, {}}, {"failure - -", "success 200 body"}, {kNotHttp}},
        Case{{"body", {}, {}}, {"failure - -", "failure - -"}, {kNotHttp, kRequest + "Unknown error"}},
        Case{
            {{}, http(502), refused}, {"failure -1012 502"}, {kDebug + "Error description: refused, Status code: 502"}},
        Case{{{}, {}, other},
             {"failure - -", "failure -1 -"},
             {kNotHttp, kDebug + "ZVHTTPSessionDataTask had no data and no error/response."}}}) {
    log.clear();
    heard.clear();
    perform(*makeTask(), heard);
    network->end(answer);
    EXPECT_EQ(heard, outcomes);
    EXPECT_EQ(log.lines(), lines);
    makeTask()->performRequestWithSuccess({}, {}, {});
    network->end(answer);  // nobody listens
  }
}

TEST_F(SessionDataTask, SendsOnceTellsTheLastCallbacksAndCancelsWithTwoEnds) {
  const auto task = makeTask();
  std::vector<std::string> replaced;
  perform(*task, replaced);
  perform(*task, heard);
  EXPECT_EQ(network->resumed, 1);
  network->end({"[]", ZVURLResponse{200, true}, std::nullopt});
  EXPECT_THAT(heard, ElementsAre("success 200 []"));
  EXPECT_THAT(replaced, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(kDebug + "Cannot call performRequestWithSuccess twice on same instance."));
  log.clear();
  heard.clear();
  const auto cancelled = makeTask();
  perform(*cancelled, heard);
  cancelled->cancelSessionAndTask();
  EXPECT_THAT(heard, ElementsAre("failure - -", "failure -999 -", "failure - -"));
  EXPECT_EQ(log.lines().front(), kDebug + "Cancelling HTTP Async request");
  EXPECT_EQ(log.lines().back(), kDebug + "Timeout HTTP Async request");
}

}  // namespace

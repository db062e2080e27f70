#include "transport/ZVHTTPSessionDataTask.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include "support/LoopbackServer.h"
#include "support/TestPlatform.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::string kDebug = "Debug/ZV/System: ";

// What the callbacks were told, in words.
class Outcomes {
 public:
  ZVHTTPSessionDataTask::OnSuccess onSuccess() {
    return [this](const std::string& body, const ZVURLResponse& response) {
      add(fmt::format("success {} {}", response.statusCode, body));
    };
  }
  ZVHTTPSessionDataTask::OnFailure onFailure() {
    return [this](const auto& error, const auto& response) {
      add(fmt::format("failure {} {}", error ? std::to_string(error->code) : "-",
                      response ? std::to_string(response->statusCode) : "-"));
    };
  }
  std::vector<std::string> wait(std::size_t count) {
    std::unique_lock lock(mutex_);
    added_.wait_for(lock, 10s, [&] { return told_.size() >= count; });
    return told_;
  }

 private:
  void add(std::string outcome) {
    const std::scoped_lock lock(mutex_);
    told_.push_back(std::move(outcome));
    added_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<std::string> told_;  // guarded by mutex_
};

class SessionDataTask : public testing::Test {
 protected:
  std::shared_ptr<ZVHTTPSessionDataTask> taskFor(const std::string& url) {
    return ZVHTTPSessionDataTask::initWithRequest({url, "POST", {{"Authorization", "signature"}}, "[1]"});
  }

  LoopbackServer server;
  TestPlatform platform = TestPlatform::make(server);
  LogCapture log;
  Outcomes outcomes;
};

TEST_F(SessionDataTask, SortsAnswersByStatus) {
  struct Case {
    int status;
    std::string outcome;
    std::vector<std::string> lines;
  };
  for (const auto& [status, outcome, lines] : {
           Case{200, "success 200 answer", {}},
           Case{201, "failure - -", {kDebug + "ZVHTTPSessionDataTask request. Unknown error"}},
           Case{400, "failure - 400", {kDebug + "ZVHTTPSessionDataTask request. 400 - Bad Request."}},
           Case{401, "failure - 401", {kDebug + "ZVHTTPSessionDataTask request. 401 - Unauthorized."}},
           Case{500, "failure - 500", {kDebug + "ZVHTTPSessionDataTask request. 500 - Internal Server Error."}},
           Case{404, "failure - -", {kDebug + "ZVHTTPSessionDataTask request. Unknown error"}},
       }) {
    log.clear();
    const std::string path = fmt::format("/{}", status);
    server.answer(path, {status, "answer"});
    Outcomes told;
    taskFor(server.url(path))->performRequestWithSuccess(told.onSuccess(), told.onFailure(), {});
    EXPECT_THAT(told.wait(1), ElementsAre(outcome));
    EXPECT_EQ(log.lines(), lines) << status;
  }
}

TEST_F(SessionDataTask, TellsAConnectionFailureTwice) {
  taskFor("http://127.0.0.1:1/")->performRequestWithSuccess(outcomes.onSuccess(), outcomes.onFailure(), {});
  EXPECT_THAT(outcomes.wait(2), ElementsAre("failure - -", "failure -1 -"));
  EXPECT_THAT(log.lines(), ElementsAre(kDebug + "ZVHTTPSessionDataTask response is not a NSHTTPURLResponse. Failing.",
                                       kDebug + "ZVHTTPSessionDataTask had no data and no error/response."));
}

TEST_F(SessionDataTask, SendsOnceAndTellsTheLastCallbacks) {
  server.hang();
  Outcomes replaced;
  const auto task = taskFor(server.url("/"));
  task->performRequestWithSuccess(replaced.onSuccess(), replaced.onFailure(), {});
  ASSERT_TRUE(server.waitForRequests(1));
  task->performRequestWithSuccess(outcomes.onSuccess(), outcomes.onFailure(), {});
  server.resume();
  EXPECT_THAT(outcomes.wait(1), ElementsAre("success 200 []"));
  EXPECT_THAT(replaced.wait(0), IsEmpty());
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_THAT(log.lines(), ElementsAre(kDebug + "Cannot call performRequestWithSuccess twice on same instance."));
}

TEST_F(SessionDataTask, CancellingTellsAtOnceAndAgainWhenTheRequestEnds) {
  server.hang();
  const auto task = taskFor(server.url("/"));
  task->performRequestWithSuccess(outcomes.onSuccess(), outcomes.onFailure(), {});
  ASSERT_TRUE(server.waitForRequests(1));
  task->cancelSessionAndTask();
  EXPECT_THAT(outcomes.wait(3), UnorderedElementsAre("failure - -", "failure - -", "failure -999 -"));
  const auto lines = log.lines();
  const auto at = [&](const std::string& line) { return std::find(lines.begin(), lines.end(), kDebug + line); };
  EXPECT_LT(at("Cancelling HTTP Async request"), at("Timeout HTTP Async request"));
  EXPECT_NE(at("Timeout HTTP Async request"), lines.end());
}

// Answers that no real connection gives: it completes before resume() returns.
class ScriptedSession final : public ZVURLSession {
 public:
  struct Answer {
    std::optional<std::string> body;
    std::optional<ZVURLResponse> response;
    std::optional<ZVURLError> error;
  };
  explicit ScriptedSession(Answer answer) : answer_(std::move(answer)) {}

  std::shared_ptr<ZVURLDataTask> dataTask(ZVURLRequest, Completion completion) override {
    struct Task final : ZVURLDataTask {
      void resume() override { std::exchange(completion, nullptr)(answer.body, answer.response, answer.error); }
      void cancel() override {}
      Answer answer;
      Completion completion;
    };
    const auto task = std::make_shared<Task>();
    task->answer = answer_;
    task->completion = std::move(completion);
    return task;
  }

 private:
  const Answer answer_;
};

TEST_F(SessionDataTask, SortsWhatAHostsSessionMayReport) {
  const ZVURLError refused{ZVURLError::kUserCancelledAuthentication, "refused"};
  struct Case {
    ScriptedSession::Answer answer;
    std::vector<std::string> outcomes, lines;
  };
  const std::string notHttp = kDebug + "ZVHTTPSessionDataTask response is not a NSHTTPURLResponse. Failing.";
  for (const auto& [answer, told, lines] : {
           Case{{"", ZVURLResponse{0, true}, refused},
                {"failure -1012 0"},
                {kDebug + "ZVHTTPSessionDataTask request. 401 - Unauthorized."}},
           Case{{"body", ZVURLResponse{200, false}, std::nullopt}, {"failure - -", "success 200 body"}, {notHttp}},
           Case{{std::nullopt, ZVURLResponse{502, true}, refused},
                {"failure -1012 502"},
                {kDebug + "Error description: refused, Status code: 502"}},
           Case{{"body", std::nullopt, std::nullopt},
                {"failure - -", "failure - -"},
                {notHttp, kDebug + "ZVHTTPSessionDataTask request. Unknown error"}},
       }) {
    const TestPlatform scripted = TestPlatform::make([answer = answer](ZVPlatform& changed) {
      changed.makeURLSession = [answer] { return std::make_shared<ScriptedSession>(answer); };
    });
    log.clear();
    Outcomes recorded;
    taskFor("http://host/")->performRequestWithSuccess(recorded.onSuccess(), recorded.onFailure(), {});
    EXPECT_EQ(recorded.wait(0), told);
    EXPECT_EQ(log.lines(), lines);
    log.clear();
    taskFor("http://host/")->performRequestWithSuccess({}, {}, {});
    EXPECT_EQ(log.lines(), lines) << "nobody listens";
  }
}

}  // namespace

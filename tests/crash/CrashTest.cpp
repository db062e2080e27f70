// Games that die, each in a process of its own.
#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "crash/DyingGame.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using namespace testing;

const std::string kFirstLine = "Gliodra version 1421 build (null)\n";
const std::string kOwn = "the game's own handler\n";
const auto kQuietly = Not(HasSubstr("entered"));

struct Death {
  std::string cause, detail;
  int end;
  Matcher<std::vector<std::string>> sent;
  Matcher<std::string> errors = _;
  Matcher<std::string> output = _;
  std::size_t stored = 0;
};
void expect(const std::vector<Death>& deaths) {
  for (const auto& [cause, detail, end, sent, errors, output, stored] : deaths) {
    SCOPED_TRACE(cause + ' ' + detail.substr(0, 20));
    DyingGame game(cause, detail);
    EXPECT_EQ(game.end(), end);
    EXPECT_THAT(game.sent(), sent);
    EXPECT_THAT(game.process->errors(), errors);
    EXPECT_THAT(game.process->output(), output);
    EXPECT_EQ(game.stored("error"), stored);
  }
}

TEST(Crash, EveryFatalSignalIsSentAndEndsTheGameWithStatusOne) {
  std::vector<Death> deaths;
  for (const int number :
       {SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGFPE, SIGBUS, SIGSEGV, SIGSYS, SIGPIPE, SIGALRM, SIGXCPU, SIGXFSZ})
    deaths.push_back({"raise", std::to_string(number), 1,
                      ElementsAre(StartsWith(kFirstLine + "Stack trace:n\n   0 - ")), Not(kQuietly)});
  expect(deaths);
}

TEST(Crash, WhereverItHappensItIsReportedWithItsNames) {
  const auto report = [](const std::string& text) {
    return ElementsAre(AllOf(StartsWith(kFirstLine), HasSubstr(text)));
  };
  const auto fall = report("levels::fallOut()+0x");
  const auto whole = Not(HasSubstr("SQLITE3 COMMIT ERROR"));
  const std::string uncaught = "Uncaught Exception\nException Name: ";
  expect({{"fault", "", 1, fall},
          {"fault in a transaction", "", 1, fall, whole},
          {"fault beside a transaction", "", 1, fall, whole},
          {"twice, on two threads", "", 1, fall},
          {"throw", "lava", 1, report(uncaught + "std::runtime_error\nException Reason: lava\nStack trace:\n   0 - ")},
          {"throw", "not \xFF UTF-8", 1, report("Reason: not \xEF\xBF\xBD UTF-8\n")},
          {"throw on a thread", "lava", 1, report("levels::throwOut(std::__cxx11::basic_string<char")},
          {"throw on the queue", "", 1, report("Exception Reason: on the queue\n")},
          {"throw a number", "", 1, report(uncaught + "int\nException Reason: (null)\n")},
          {"terminate", "", 1, report(uncaught + "std::terminate\nException Reason: (null)\n")}});
}

TEST(Crash, ItsReportsAreBounded) {
  const auto is8192Long = ResultOf([](const std::string& report) { return utf16Length(report); }, Optional(Eq(8192U)));
  expect({{"throw", std::string(10'000, 'x'), 1, ElementsAre(is8192Long)},
          {"too often", "102", 0, SizeIs(101), HasSubstr("ZVUncaughtExceptionHandlerCallback limted exceeded: 101\n")},
          {"without keys", "", 1, IsEmpty(), HasSubstr("Could not add event: SDK is not initialized")}});
}

TEST(Crash, TheGamesOwnHandlersArePassedOnToOrReplacedWithAWarning) {
  expect(
      {{"with a handler that returns", "lava", 1, SizeIs(1), _, "ready\n" + kOwn},
       {"with a handler that aborts", "lava", 1, SizeIs(1), _, "ready\n" + kOwn},
       {"with signal handlers", "", 1, SizeIs(1),
        HasSubstr("Crash reporting replaces the handlers that were set for SIGBUS, SIGSEGV.\n"), Not(HasSubstr(kOwn))},
       // Neither defaults nor the library's own are somebody's.
       {"installed twice", "lava", 1, ElementsAre(HasSubstr("Reason: lava\n")), Not(HasSubstr("replaces"))},
       {"with a signal handler set after", "alone", 7, IsEmpty(), _, HasSubstr(kOwn)},
       {"with a signal handler set after", "chain", 1, SizeIs(1), _, HasSubstr(kOwn)}});
}

TEST(Crash, ReportingThatIsSwitchedOffLeavesEverythingToTheSystem) {
  expect({{"switched off before", "", -SIGSEGV, IsEmpty(), kQuietly},
          {"switched off after", "", -SIGSEGV, IsEmpty(), kQuietly},
          {"switched off after", "lava", -SIGABRT, IsEmpty(), kQuietly},
          {"in a forked child", "", SIGSEGV, IsEmpty(), kQuietly},
          {"without handlers", "", -SIGSEGV, IsEmpty(), kQuietly},
          {"without handlers", "lava", -SIGABRT, IsEmpty(), kQuietly},
          {"a broken pipe that is ignored", "", 0, IsEmpty(), kQuietly}});
}

TEST(Crash, ASecondOneInsideTheHandlerEndsTheGameAtOnce) {
  const std::string entered = "ZVSignalHandler entered";
  const auto once = AllOf(HasSubstr(entered), Not(ContainsRegex(entered + "(.|\n)*" + entered)));
  expect(
      {{"twice", "Add ERROR event", 1, IsEmpty(), once}, {"twice", "Event queue: Sending", 1, IsEmpty(), once, _, 1}});
}

TEST(Crash, ACollectorThatHangsCostsTheSendingButNeitherTheEventNorThoseBeforeIt) {
  for (const bool answersInTime : {false, true}) {
    DyingGame game("wait", "200");
    game.server.hang();
    game.start();
    game.waitFor("reported");
    ASSERT_TRUE(game.server.waitForRequests(1));  // the session's, which holds the work queue
    game.process->kill(SIGSEGV);
    if (answersInTime) {
      ASSERT_TRUE(game.server.waitForRequests(2));
      game.server.resume();
    }
    EXPECT_EQ(game.end(), 1);
    EXPECT_THAT(game.sent(), SizeIs(1)) << game.process->errors();
    EXPECT_EQ(game.stored("error"), answersInTime ? 0U : 1U);
    EXPECT_EQ(game.stored("design"), 200U);
  }
}

TEST(Crash, ALockedDatabaseIsWaitedFor) {
  const TemporaryFolder cues;
  DyingGame game("raise on cue", cues.file("cue"));
  game.start();
  game.waitFor("Add SESSION START event");
  ASSERT_TRUE(game.server.waitForRequests(2));  // the session has begun
  auto lock = lockDatabase(game.database());
  std::ofstream(cues.file("cue")) << "now";
  game.waitFor("ZVSignalHandler entered");
  lock.reset();
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.sent(), SizeIs(1)) << game.process->errors();
}

TEST(Crash, AConnectionThatBreaksIsNone) {
  for (const auto misbehave : {&LoopbackServer::tear, &LoopbackServer::slam}) {
    DyingGame game("a broken connection", "4000000", LoopbackServer::Security::tls);
    (game.server.*misbehave)();
    EXPECT_EQ(game.end(), 0) << game.process->errors();
    EXPECT_THAT(game.process->errors(), kQuietly);
  }
}

}  // namespace

// Games that die, each in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
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
};
void expect(const std::vector<Death>& deaths) {
  for (const auto& [cause, detail, end, sent, errors, output] : deaths) {
    SCOPED_TRACE(cause + ' ' + detail.substr(0, 20));
    DyingGame game(cause, detail);
    EXPECT_EQ(game.end(), end);
    EXPECT_THAT(game.sent(), sent);
    EXPECT_THAT(game.process->errors(), errors);
    EXPECT_THAT(game.process->output(), output);
  }
}

TEST(Crash, EveryFatalSignalIsSentAndEndsTheGameWithStatusOne) {
  for (const int number :
       {SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGFPE, SIGBUS, SIGSEGV, SIGSYS, SIGPIPE, SIGALRM, SIGXCPU, SIGXFSZ}) {
    DyingGame game("raise", std::to_string(number));
    EXPECT_EQ(game.end(), 1) << number;
    EXPECT_THAT(game.sent(), ElementsAre(StartsWith(kFirstLine + "Stack trace:n\n   0 - "))) << number;
    EXPECT_THAT(game.process->errors(), HasSubstr("ZVSignalHandler entered")) << number;
    EXPECT_EQ(game.stored("error"), 0U) << number;
  }
}

TEST(Crash, WhereverItHappensItIsToldWithItsNames) {
  using Case = std::tuple<std::string, std::string, std::string>;
  const std::string uncaught = "Uncaught Exception\nException Name: ";
  std::vector<Death> deaths;
  for (const auto& [cause, detail, told] : {
           Case{"fault", "", "levels::fallOut()+0x"},
           Case{"fault on the queue", "", "levels::fallOut()+0x"},
           Case{"fault in a transaction", "", "levels::fallOut()+0x"},
           Case{"fault beside a transaction", "", "levels::fallOut()+0x"},
           Case{"twice, on two threads", "", "levels::fallOut()+0x"},
           Case{"throw", "lava", uncaught + "std::runtime_error\nException Reason: lava\nStack trace:\n   0 - "},
           Case{"throw", "not \xFF UTF-8", "Reason: not \xEF\xBF\xBD UTF-8\n"},
           Case{"throw on a thread", "lava", "levels::throwOut(std::__cxx11::basic_string<char"},
           Case{"throw on the queue", "", "Exception Reason: on the queue\n"},
           Case{"throw a number", "", uncaught + "int\nException Reason: (null)\n"},
           Case{"terminate", "", uncaught + "std::terminate\nException Reason: (null)\n"},
       })
    deaths.push_back({cause, detail, 1, ElementsAre(AllOf(StartsWith(kFirstLine), HasSubstr(told))),
                      Not(HasSubstr("SQLITE3 COMMIT ERROR"))});
  expect(deaths);
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
       {"with signal handlers set after", "alone", 7, IsEmpty(), _, HasSubstr(kOwn)},
       {"with signal handlers set after", "chain", 1, SizeIs(1), _, HasSubstr(kOwn)}});
}

TEST(Crash, ReportingThatIsSwitchedOffLeavesEverythingToTheSystem) {
  expect({{"switched off before", "", -SIGTRAP, IsEmpty(), kQuietly},
          {"switched off after", "", -SIGSEGV, IsEmpty(), kQuietly},
          {"switched off after", "lava", -SIGABRT, IsEmpty(), kQuietly},
          {"in a forked child", "", SIGSEGV, IsEmpty(), kQuietly},
          {"without handlers", "", -SIGSEGV, IsEmpty(), kQuietly},
          {"without handlers", "lava", -SIGABRT, IsEmpty(), kQuietly},
          {"a broken pipe that is ignored", "", 0, IsEmpty(), kQuietly}});
}

TEST(Crash, WhatWaitsBehindARequestIsStoredFirst) {
  DyingGame game("behind a request", "200");
  game.server.hang();
  game.start();
  game.waitFor("reported");
  ASSERT_TRUE(game.server.waitForRequests(1));  // the session's, which holds the work queue
  game.process->kill(SIGSEGV);
  game.waitFor("Add ERROR event");
  game.server.resume();
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.sent(), SizeIs(1)) << game.process->errors();
  EXPECT_EQ(game.stored("design"), 200U);
  EXPECT_EQ(game.stored("user"), 1U);
}

TEST(Crash, ALockedDatabaseIsWaitedFor) {
  DyingGame game("wait");
  game.start();
  game.waitFor("Add SESSION START event");
  ASSERT_TRUE(game.server.waitForRequests(2));  // the session has begun
  auto lock = std::make_unique<HeldLock>(game.database());
  game.process->kill(SIGSEGV);
  game.waitFor("ZVSignalHandler entered");
  lock.reset();
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.sent(), SizeIs(1)) << game.process->errors();
}

TEST(Crash, ACollectorThatHangsCostsTheSendingButNotTheEvent) {
  for (const bool answersInTime : {false, true}) {
    DyingGame game("wait");
    game.server.hang();
    game.start();
    ASSERT_TRUE(game.server.waitForRequests(1));  // the session's, which holds the work queue
    game.process->kill(SIGSEGV);
    if (answersInTime) {
      ASSERT_TRUE(game.server.waitForRequests(2));
      game.server.resume();
    }
    EXPECT_EQ(game.end(), 1);
    EXPECT_THAT(game.sent(), SizeIs(1));
    EXPECT_EQ(game.stored("error"), answersInTime ? 0U : 1U);
  }
}

TEST(Crash, ASecondOneInsideTheHandlerEndsTheGameAtOnce) {
  using Case = std::pair<std::string, std::size_t>;
  for (const auto& [line, stored] : {Case{"Add ERROR event", 0}, Case{"Event queue: Sending", 1}}) {
    DyingGame game("twice", line);
    EXPECT_EQ(game.end(), 1) << line;
    EXPECT_THAT(game.sent(), IsEmpty()) << line;
    EXPECT_EQ(game.stored("error"), stored) << line;
    const std::string errors = game.process->errors();
    EXPECT_EQ(errors.find("ZVSignalHandler entered"), errors.rfind("ZVSignalHandler entered")) << line;
  }
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

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

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

const std::string kFirstLine = "Gliodra version 1421 build (null)\n";

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
           Case{"installed twice", "lava", "Reason: lava\n"},
       }) {
    DyingGame game(cause, detail);
    EXPECT_EQ(game.end(), 1) << cause;
    EXPECT_THAT(game.sent(), ElementsAre(AllOf(StartsWith(kFirstLine), HasSubstr(told)))) << cause;
    EXPECT_THAT(game.process->errors(), Not(HasSubstr("SQLITE3 COMMIT ERROR"))) << cause;
  }
}

TEST(Crash, AGameWithoutKeysEndsTheSameWayButHasNoSessionToReportIn) {
  DyingGame game("without keys");
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.process->errors(), HasSubstr("Could not add event: SDK is not initialized"));
}

TEST(Crash, AReportIsCutTo8192Characters) {
  DyingGame game("throw", std::string(10'000, 'x'));
  EXPECT_EQ(game.end(), 1);
  ASSERT_THAT(game.sent(), SizeIs(1));
  EXPECT_EQ(utf16Length(game.sent().front()), 8192U);
}

TEST(Crash, TheHundredAndSecondReportOfAProcessIsNotSent) {
  DyingGame game("too often", "102");
  EXPECT_EQ(game.end(), 0) << game.process->errors();
  EXPECT_THAT(game.sent(), SizeIs(101));
  EXPECT_THAT(game.process->errors(), HasSubstr("ZVUncaughtExceptionHandlerCallback limted exceeded: 101\n"));
}

TEST(Crash, TheGamesOwnTerminateHandlerIsCalledAfterTheReportAndOnce) {
  for (const std::string cause : {"with a handler that returns", "with a handler that aborts"}) {
    DyingGame game(cause, "lava");
    EXPECT_EQ(game.end(), 1) << cause;
    EXPECT_EQ(game.process->output(), "ready\nthe game's own handler\n") << cause;
    EXPECT_THAT(game.sent(), SizeIs(1)) << cause;
  }
}

TEST(Crash, ReportingThatIsSwitchedOffLeavesEverythingToTheSystem) {
  using Case = std::tuple<std::string, std::string, int>;
  for (const auto& [cause, detail, end] :
       {Case{"switched off before", "", -SIGTRAP}, Case{"switched off after", "", -SIGSEGV},
        Case{"switched off after", "lava", -SIGABRT}, Case{"in a forked child", "", SIGSEGV},
        Case{"without handlers", "", -SIGSEGV}, Case{"without handlers", "lava", -SIGABRT}}) {
    DyingGame game(cause, detail);
    EXPECT_EQ(game.end(), end) << cause;
    EXPECT_THAT(game.sent(), IsEmpty()) << cause;
    EXPECT_THAT(game.process->errors(), Not(HasSubstr("entered"))) << cause;
  }
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

TEST(Crash, AConnectionThatBreaksOrAnIgnoredSignalIsNone) {
  DyingGame ignoring("a broken pipe that is ignored");
  EXPECT_EQ(ignoring.end(), 0);
  EXPECT_THAT(ignoring.process->errors(), Not(HasSubstr("entered")));
  for (const auto misbehave : {&LoopbackServer::tear, &LoopbackServer::slam}) {
    DyingGame game("a broken connection", "4000000", LoopbackServer::Security::tls);
    (game.server.*misbehave)();
    EXPECT_EQ(game.end(), 0) << game.process->errors();
    EXPECT_THAT(game.process->errors(), Not(HasSubstr("entered")));
  }
}

TEST(Crash, HandlersThatTheGameSetBeforeAreReplacedWithAWarning) {
  const std::string warning = "Crash reporting replaces the handlers that were set for SIGBUS, SIGSEGV.\n";
  DyingGame game("with signal handlers");
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.sent(), SizeIs(1));
  EXPECT_THAT(game.process->output(), Not(HasSubstr("own handler")));
  EXPECT_THAT(game.process->errors(), HasSubstr(warning));

  DyingGame twice("installed twice", "lava");
  EXPECT_EQ(twice.end(), 1);
  EXPECT_THAT(twice.process->errors(), Not(HasSubstr("replaces"))) << "neither defaults nor our own are somebody's";
}

TEST(Crash, HandlersThatTheGameSetsOnceOursStandAreItsOwnAffair) {
  using Case = std::tuple<std::string, int, std::size_t>;
  for (const auto& [how, end, sent] : {Case{"alone", 7, 0}, Case{"chain", 1, 1}}) {
    DyingGame game("with signal handlers set after", how);
    EXPECT_EQ(game.end(), end) << how;
    EXPECT_THAT(game.process->output(), HasSubstr("the game's own handler\n")) << how;
    EXPECT_THAT(game.sent(), SizeIs(sent)) << how;
  }
}

}  // namespace

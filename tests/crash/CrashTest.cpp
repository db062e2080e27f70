// Games that die, each in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Game.h"
#include "support/LoopbackServer.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"
#include "values/Text.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

const std::string kFirstLine = "Gliodra version 1421 build (null)\n";

struct DyingGame {
  explicit DyingGame(std::string cause, std::string detail = {},
                     LoopbackServer::Security security = LoopbackServer::Security::plain)
      : server(security), cause_(std::move(cause)), detail_(std::move(detail)) {}

  void start() {
    process.emplace(folder.path(),
                    std::vector<std::string>{ZORVANE_DYING_GAME, server.protocol(), std::to_string(server.port()),
                                             server.caFile(), folder.file("data"), cause_, detail_});
  }
  // The status with which it ended, or the negative number of the signal that ended it.
  int end() {
    if (!process) start();
    const auto ending = process->wait(std::chrono::seconds(60));
    if (!ending) return -1000;
    return ending->status ? *ending->status : -ending->signal;
  }
  void waitFor(const std::string& line) const {
    while (process->errors().find(line) == std::string::npos && process->output().find(line) == std::string::npos)
      std::this_thread::yield();
  }

  // The messages of the error events that the collector was sent.
  std::vector<std::string> sent() const {
    std::vector<std::string> messages;
    for (const auto& request : server.requests(LoopbackServer::kEvents))
      for (const ZVMap& event : Game::eventsOf(request))
        if (shown(event, "category") == "error" && shown(event, "severity") == "critical")
          messages.push_back(shown(event, "message"));
    return messages;
  }
  std::size_t stored(const std::string& category) const {
    return countRows(database(), "SELECT COUNT(*) FROM zv_events WHERE category = '" + category + "'");
  }
  std::string database() const { return folder.file("data/zorvane.sqlite"); }

  TemporaryFolder folder;
  LoopbackServer server;
  std::optional<ChildProcess> process;

 private:
  std::string cause_;
  std::string detail_;
};

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
  struct Case {
    std::string cause;
    std::string detail;
    std::string told;
  };
  const std::string uncaught = "Uncaught Exception\nException Name: ";
  for (const auto& [cause, detail, told] : {
           Case{"fault", "", "levels::fallOut()+0x"},
           Case{"fault on a thread", "", "levels::fallOut()+0x"},
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
  struct Case {
    std::string cause;
    std::string detail;
    int end;
  };
  for (const auto& [cause, detail, end] :
       {Case{"switched off before", "", -SIGTRAP}, Case{"switched off after", "", -SIGSEGV},
        Case{"switched off after", "lava", -SIGABRT}, Case{"in a forked child", "", SIGSEGV}}) {
    DyingGame game(cause, detail);
    EXPECT_EQ(game.end(), end) << cause;
    EXPECT_THAT(game.sent(), IsEmpty()) << cause;
    EXPECT_THAT(game.process->errors(), Not(HasSubstr("entered"))) << cause;
  }
}

TEST(Crash, WhatTheGameReportedBeforeIsStoredFirst) {
  DyingGame game("after a burst", "200");
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.sent(), SizeIs(1));
  EXPECT_EQ(game.stored("design"), 200U);
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
  struct Case {
    std::string line;
    std::size_t stored;
  };
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
    DyingGame game("not at all", "4000000", LoopbackServer::Security::tls);
    (game.server.*misbehave)();
    EXPECT_EQ(game.end(), 0) << game.process->errors();
    EXPECT_THAT(game.process->errors(), Not(HasSubstr("entered")));
  }
}

}  // namespace

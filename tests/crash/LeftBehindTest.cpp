// Crashes that a game could not report itself: its next start does, once.
#include <dlfcn.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <zorvane/Zorvane.h>

#include "codecs/ZVHelpers.h"
#include "crash/DyingGame.h"
#include "crash/first_form.h"
#include "platform/Modules.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using namespace testing;

std::vector<std::string> crashFilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (const std::string name = entry.path().filename(); name.starts_with("crash_")) names.push_back(name);
  return names;
}

ZVMap startOf(const DyingGame& game, const std::string& user) {
  for (const ZVMap& event : Game::sentTo(game.server, "user"))
    if (shown(event, "user_id") == user) return event;
  return {};
}

// The next start reports the crash as one of the run that died; the one after it has nothing to add.
void expectReportedLater(const std::string& cause, const std::string& detail, int end, const std::string& text) {
  SCOPED_TRACE(cause);
  DyingGame game(cause, detail);
  EXPECT_EQ(game.end(), end);
  EXPECT_EQ(game.stored("error"), 0U);
  EXPECT_THAT(game.sent(), IsEmpty());
  EXPECT_THAT(crashFilesIn(game.folder.file("data")), ElementsAre("crash_0"));
  for (int start = 0; start < 2; ++start) EXPECT_EQ(game.endOfAnother("not at all"), 0);
  EXPECT_THAT(crashFilesIn(game.folder.file("data")), IsEmpty());
  ASSERT_THAT(game.sent(), ElementsAre(AllOf(StartsWith("Gliodra version 1421 build (null)\n"), HasSubstr(text))));
  const ZVMap event = game.sentEvents().front();
  const ZVMap start = startOf(game, cause);
  for (const char* field : {"session_id", "session_num", "user_id", "build", "os_version"})
    EXPECT_EQ(shown(event, field), shown(start, field)) << field;
  EXPECT_EQ(shown(event, "custom_01"), "ninja") << "set after the start, before any other event";
  EXPECT_NE(shown(event, "event_uuid"), shown(start, "event_uuid"));
  const auto time = [](const ZVMap& map) { return integerReading(*map.find("client_ts")); };
  EXPECT_GE(time(event), time(start));
  EXPECT_LE(time(event), time(startOf(game, "not at all")));
}

TEST(LeftBehind, ADeathThatCouldStoreNothingIsReportedByTheNextStart) {
  expectReportedLater("beside a disk write", "", 1, "levels::fallOut()+0x");
  expectReportedLater("killed", "Add ERROR event", -SIGKILL, "levels::fallOut()+0x");
}

// Sanitizers find these themselves, so there they are not built.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Crash, ABrokenHeapIsReportedAtOnceOrWhereTheWorkQueueBrokeItByTheNextStart) {
  DyingGame game("overrun on a thread");
  EXPECT_EQ(game.end(), 1);
  EXPECT_THAT(game.sent(), ElementsAre(HasSubstr("levels::overrun()+0x"))) << game.process->errors();
  EXPECT_EQ(game.endOfAnother("not at all"), 0);
  EXPECT_THAT(game.sent(), SizeIs(1));
  // Its names come from the next start: this death leaves addresses only.
  expectReportedLater("overrun on the queue", "", 1, "levels::overrun()+0x");
}
#endif

TEST(LeftBehind, AKillAtAnyMomentLeavesExactlyOneEvent) {
  using Case = std::pair<std::string, std::string>;  // when the game that crashes is killed, and when the next one
  for (const auto& [crash, nextStart] : {
           Case{"Add ERROR event", ""},
           Case{"1 Add ERROR event", ""},  // stored, and the first form is still there
           Case{"2 Add ERROR event", ""},
           Case{"Event queue: Sending", ""},
           Case{"Add ERROR event", "Reporting a crash"},
           Case{"Add ERROR event", "1 Reporting a crash"},  // stored, and the file is still there
           Case{"Add ERROR event", "2 Reporting a crash"},
       }) {
    const std::string moment = crash + ", " + nextStart;
    DyingGame game("killed", crash);
    EXPECT_EQ(game.end(), -SIGKILL) << moment;
    if (!nextStart.empty()) {
      EXPECT_EQ(game.endOfAnother("killed at the next start", nextStart), -SIGKILL) << moment;
    }
    EXPECT_EQ(game.endOfAnother("not at all"), 0) << moment;
    std::set<std::string> sent;
    for (const ZVMap& event : game.sentEvents()) sent.insert(shown(event, "event_uuid"));
    EXPECT_EQ(sent.size() + game.stored("error"), 1U) << moment;
    EXPECT_THAT(crashFilesIn(game.folder.file("data")), IsEmpty()) << moment;
  }
}

TEST(LeftBehind, OneOfSeveralStartsReportsAndTheLivingAreLeftAlone) {
  DyingGame game("wait");
  game.start();
  game.waitFor("Add SESSION START event");
  EXPECT_EQ(game.endOfAnother("killed", "Add ERROR event"), -SIGKILL);
  {
    std::vector<std::unique_ptr<ChildProcess>> starters;
    for (int starter = 0; starter < 3; ++starter)
      starters.push_back(std::make_unique<ChildProcess>(game.folder.path(), game.command("not at all")));
    for (const auto& starter : starters) EXPECT_EQ(starter->wait(), 0) << starter->errors();
  }
  EXPECT_EQ(game.sent().size() + game.stored("error"), 1U);
  EXPECT_THAT(crashFilesIn(game.folder.file("data")), ElementsAre("crash_0")) << "that of the one that lives";
  game.process->kill(SIGSEGV);
  EXPECT_EQ(game.end(), 1);
  EXPECT_EQ(game.endOfAnother("not at all"), 0);
  EXPECT_EQ(game.sent().size() + game.stored("error"), 2U);
}

std::string idOf(std::size_t number) { return std::to_string(number) + "f9619ff-8b86-4d01-b42d-00cf4fc964ff"; }

// What was left behind of the crash with that number, as far as every report has it.
std::string reportOf(std::size_t number) {
  return "zorvane crash 1\nid " + idOf(number) + "\napplication [\"Gliodra version 1 build 2\\n\"]\n" +
         R"(fields {"client_ts":1699999000,"session_id":"s","session_num":7,"custom_01":"ninja","category":"user"})" +
         "\nafter 12\n";
}

void leave(const Game& game, std::size_t number, const std::string& text) {
  std::ofstream(game.platform.folder.file("crash_" + std::to_string(number))) << text;
}

TEST(LeftBehind, UpToEightFilesAreReadAsFarAsTheyGo) {
  // The second byte of a function of another module of this process, as it is now and as it was written before.
  void* const function = dlsym(RTLD_DEFAULT, "getppid");
  Dl_info module{};
  ASSERT_NE(dladdr(function, &module), 0);
  const auto offset = static_cast<char*>(function) - static_cast<char*>(module.dli_fbase) + 1;
  const std::string path = std::filesystem::canonical(module.dli_fname);
  const auto frame = [&](std::int64_t later) {
    return fmt::format("frame 0 1a {:x} {} {}\n", offset, moduleWrittenAt(path.c_str()) + later, path);
  };
  const std::string first = "Gliodra version 1 build 2\n";
  const std::string trace = first + "Stack trace:n\n";
  const std::string uncaught = first + "Uncaught Exception\nException Name: ";
  const std::string unknown = "\nException Reason: (null)\nStack trace:\n";
  using Case = std::pair<std::string, std::string>;
  const std::vector<Case> cases{
      {"", trace},
      {"text 5\nwhole\n", "whole"},
      {"frame 0 1a\ntext 50\ncut", trace + "   0 - [0x1a]\n"},
      {"frame 0 1a\nframe 1 2b 10 0 /gone/lib a.so\nframe 2 3",
       trace + "   0 - [0x1a]\n   1 - /gone/lib a.so(+0x10) [0x2b]\n"},
      {"exception St13runtime_error\n", uncaught + "std::runtime_error" + unknown},
      {"exception -\nframe 7 1a\nframe 9999999999 1\n", uncaught + "std::terminate" + unknown},
      {frame(0), trace + "   0 - " + module.dli_fname + "(getppid+0x1) [0x1a]\n"},
      {frame(1), trace + fmt::format("   0 - {}(+0x{:x}) [0x1a]\n", path, offset)},
  };
  Game game;
  for (std::size_t number = 0; number < cases.size(); ++number)
    leave(game, number, reportOf(number) + cases[number].first);
  leave(game, cases.size(), reportOf(cases.size()));
  game.start();
  const auto events = game.sent("error");
  ASSERT_THAT(events, SizeIs(8));
  for (std::size_t number = 0; number < events.size(); ++number) {
    EXPECT_EQ(shown(events[number], "message"), cases[number].second);
    std::string fields;
    for (const char* field : {"event_uuid", "client_ts", "session_id", "custom_01", "severity"})
      fields += shown(events[number], field) + ' ';
    EXPECT_EQ(fields, idOf(number) + " 1699999012 s ninja critical ");
  }
  EXPECT_THAT(game.query("SELECT * FROM zv_session WHERE session_id = 's'"), IsEmpty());
  EXPECT_THAT(crashFilesIn(game.platform.folder.path()), ElementsAre("crash_8")) << "none of the library's names";
}

TEST(LeftBehind, TheFirstFormGivesUpFieldsThatAreTooLarge) {
  Game game;
  game.start();
  for (const std::size_t length : {60'000U, 70'000U}) {
    game.onQueue([length] {
      const ZVMap all{{"user_id", "u"}, {"configurations", ZVMap{{"k", std::string(length, 'x')}}}};
      rememberForCrash(*ZVHelpers::jsonStringWithObject(all));
      beginFirstForm();
    });
    std::stringstream text;
    text << std::ifstream(game.platform.folder.file("crash_0")).rdbuf();
    EXPECT_THAT(text.str(), HasSubstr("fields {\"user_id\":\"u\"" + std::string(length < 65'536 ? "," : "}")))
        << length;
    game.onQueue([] {
      withdrawFirstForm();
      prepareNextFirstForm();
    });
    EXPECT_EQ(std::filesystem::file_size(game.platform.folder.file("crash_0")), 0U);
  }
}

TEST(LeftBehind, WhatIsNoReportIsRemovedAndWhatIsNoFileIsLeftAlone) {
  Game game;
  std::size_t number = 0;
  for (const std::string& text :
       {std::string(), std::string("\0\n\xFF", 3), std::string(1'000'000, 'x'),
        reportOf(0).substr(0, reportOf(0).find("fields")), "zorvane crash 2" + reportOf(0).substr(15)})
    leave(game, number++, text);
  ASSERT_EQ(mkfifo(game.platform.folder.file("crash_6").c_str(), 0600), 0);
  std::filesystem::create_symlink(game.platform.folder.file("user_defaults"), game.platform.folder.file("crash_7"));
  game.start();
  EXPECT_THAT(game.stored("error"), IsEmpty());
  EXPECT_THAT(game.sent("error"), IsEmpty());
  EXPECT_THAT(crashFilesIn(game.platform.folder.path()), UnorderedElementsAre("crash_0", "crash_6", "crash_7"))
      << "the run's own, and what is no file";
}

TEST(LeftBehind, AFileStaysWhileReportingIsOffAndIsNotReportedAgain) {
  Game game;
  leave(game, 3, reportOf(3));
  for (void (*const turn)(ZVFlag) noexcept : {Zorvane::setEnabledEventSubmission, Zorvane::setEnabledErrorReporting}) {
    turn(false);
    game.start();
    EXPECT_THAT(game.sent("error"), IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(game.platform.folder.file("crash_3")));
    game.restart();
    turn(true);
  }
  game.start();
  EXPECT_THAT(game.sent("error"), SizeIs(1));
  game.restart();
  leave(game, 3, reportOf(3));  // as where it could not be removed
  game.start();
  EXPECT_THAT(game.sent("error"), SizeIs(1));
}

}  // namespace

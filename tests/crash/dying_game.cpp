// A game that dies of the given cause: dying_game PROTOCOL PORT CA-FILE DATA-DIRECTORY CAUSE [DETAIL]
// It says "ready" once its session has begun, or its first request is on its way.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <zorvane/ZVCrashReporting.h>
#include <zorvane/Zorvane.h>

#include "crash/handlers.h"
#include "runtime/ZVThreading.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"

using namespace zorvane;

// That a crash is handled by what is not safe in a signal handler is meant; telling it takes seconds each time.
extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0"; }

// Named in reports, so neither inlined nor without a name outside.
namespace levels {

[[gnu::noinline]] void fallOut() {
  volatile std::uintptr_t nowhere = 64;
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}

// Beyond what a thread keeps for itself and what it finds among freed pieces: the misuse is found out under the lock of
// the heap.
constexpr std::size_t kBlock = 60'000;

[[gnu::noinline]] void overrun() {
  void* const volatile block = std::malloc(kBlock);
  std::memset(static_cast<char*>(block) + kBlock, 0x7F, 64);  // the size of what is left of the heap
  void* const volatile more = std::malloc(2 * kBlock);
  std::free(more);
}

[[gnu::noinline]] void throwOut(const std::string& reason) { throw std::runtime_error(reason); }

}  // namespace levels

namespace {

using Causes = std::map<std::string, std::function<void(const std::string& detail)>>;

// Runs `task` when the library writes a line with `text` in it. What it throws is nobody's to catch.
void whenLogged(const std::string& text, void (*task)()) {
  ZVNotificationCenter::addObserver(
      k_ZV_LoggerMessageNotification, [text, task](const ZVNotification& notification) noexcept {
        if (notification.userInfo.find("message")->ifString()->find(text) != std::string::npos) task();
      });
}

// A transaction that is open as long as `task` runs, on the work queue: the library tells in its middle that a
// statement makes no sense.
void inTransaction(void (*task)()) {
  Zorvane::setEnableDebugLog(true);
  whenLogged("SQLITE3 PREPARE ERROR", task);
  ZVThreading::performTaskOnZVThreadWithBlock([] { ZVStore::executeQuerySyncWithSql("DELETE FROM nowhere"); });
}

[[noreturn]] void sleepOn() {
  for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

// Kills the process with the COMMIT-th commit after the library has logged `line`.
int commitsToGo = 0;
std::atomic<bool> commitsCount{false};
void killAfterCommits(const std::string& line, int commits) {
  commitsToGo = commits;
  whenLogged(line, [] { commitsCount = true; });
  ZVThreading::performTaskOnZVThreadWithBlock([] {
    sqlite3_wal_hook(
        ZVStore::getDatabase(),
        [](void*, sqlite3*, const char*, int) {
          if (commitsCount && --commitsToGo == 0) raise(SIGKILL);
          return SQLITE_OK;
        },
        nullptr);
  });
}
// "LINE": at that line. "N LINE": after the N-th commit that follows it.
void killAt(const std::string& moment) {
  if (const int commits = std::atoi(moment.c_str()); commits > 0) killAfterCommits(moment.substr(2), commits);
  else whenLogged(moment, [] { raise(SIGKILL); });
}

void sayAndReturn() {
  constexpr std::string_view kText = "the game's own handler\n";
  [[maybe_unused]] const auto written = write(STDOUT_FILENO, kText.data(), kText.size());
}
void sayAndLeave(int) {
  sayAndReturn();
  _exit(7);
}
struct sigaction replaced {};
void sayAndChain(int number, siginfo_t* information, void* context) {
  sayAndReturn();
  replaced.sa_sigaction(number, information, context);
}

void settle() { ZVThreading::sharedInstance().queue.drain(std::chrono::seconds(20)); }

// What must be so before the session begins.
const Causes kPreparations{
    {"switched off before", [](const std::string&) { Zorvane::setEnabledErrorReporting(false); }},
    {"with a handler that returns", [](const std::string&) { std::set_terminate(sayAndReturn); }},
    {"with a handler that aborts",
     [](const std::string&) {
       std::set_terminate([] {
         sayAndReturn();
         std::abort();
       });
     }},
    {"too often", [](const std::string&) { std::set_terminate(sayAndReturn); }},
    {"killed at the next start", killAt},
    {"a broken pipe that is ignored", [](const std::string&) { std::signal(SIGPIPE, SIG_IGN); }},
    {"with signal handlers",
     [](const std::string&) {
       std::signal(SIGSEGV, sayAndLeave);
       std::signal(SIGBUS, sayAndLeave);
     }},
};

const Causes kDeaths{
    {"not at all", [](const std::string&) {}},
    {"wait", [](const std::string&) { sleepOn(); }},
    {"raise", [](const std::string& number) { std::raise(std::stoi(number)); }},
    {"fault", [](const std::string&) { levels::fallOut(); }},
    {"fault on the queue",
     [](const std::string&) {
       ZVThreading::performTaskOnZVThreadWithBlock(levels::fallOut);
       settle();
     }},
    {"fault in a transaction",
     [](const std::string&) {
       inTransaction(levels::fallOut);
       settle();
     }},
    {"fault beside a transaction",
     [](const std::string&) {
       static std::promise<void> open, reported;
       whenLogged("Add ERROR event", [] { reported.set_value(); });
       inTransaction([] {
         open.set_value();
         reported.get_future().wait();
       });
       open.get_future().wait();
       levels::fallOut();
     }},
    {"throw", [](const std::string& reason) { levels::throwOut(reason); }},
    {"throw on a thread",
     [](const std::string& reason) { std::thread([reason] { levels::throwOut(reason); }).join(); }},
    {"throw on the queue",
     [](const std::string&) {
       whenLogged("Add DESIGN event", [] { levels::throwOut("on the queue"); });
       Zorvane::addDesignEventWithEventId("a:b");
       settle();
     }},
    {"throw a number", [](const std::string&) { throw 42; }},
    {"terminate", [](const std::string&) { std::terminate(); }},
    {"twice",
     [](const std::string& line) {
       whenLogged(line, levels::fallOut);
       levels::fallOut();
     }},
    {"twice, on two threads",
     [](const std::string&) {
       whenLogged("Add ERROR event", [] { std::thread(levels::fallOut).detach(); });
       levels::fallOut();
     }},
    {"without keys", [](const std::string&) { levels::fallOut(); }},
    {"switched off before", [](const std::string&) { std::raise(SIGTRAP); }},
    {"switched off after",
     [](const std::string& reason) {
       Zorvane::setEnabledErrorReporting(false);
       settle();
       std::raise(SIGALRM);  // ignored
       if (reason.empty()) levels::fallOut();
       else levels::throwOut(reason);
     }},
    {"with a handler that returns", [](const std::string& reason) { levels::throwOut(reason); }},
    {"with a handler that aborts", [](const std::string& reason) { levels::throwOut(reason); }},
    {"installed twice",
     [](const std::string& reason) {
       setZVUncaughtExceptionHandlers();
       levels::throwOut(reason);
     }},
    {"too often",
     [](const std::string& times) {
       for (int time = 0; time < std::stoi(times); ++time) {
         try {
           levels::throwOut(std::to_string(time));
         } catch (...) {
           ZVUncaughtExceptionHandlerCallback();
         }
       }
       _exit(0);
     }},
    {"in a forked child",
     [](const std::string&) {
       const pid_t child = fork();
       if (child == 0) levels::fallOut();
       int status = 0;
       waitpid(child, &status, 0);
       _exit(WIFSIGNALED(status) ? WTERMSIG(status) : 0);
     }},
    {"behind a request",
     [](const std::string& count) {
       for (int event = 0; event < std::stoi(count); ++event) Zorvane::addDesignEventWithEventId("a:b");
       std::cout << "reported" << std::endl;
       sleepOn();
     }},
    {"overrun on the queue",
     [](const std::string&) {
       ZVThreading::performTaskOnZVThreadWithBlock(levels::overrun);
       sleepOn();
     }},
    {"overrun on a thread", [](const std::string&) { std::thread(levels::overrun).join(); }},
    {"beside a disk write",
     [](const std::string&) {
       static std::promise<void> writing;
       ZVThreading::performTaskOnZVThreadWithBlock([] {
         const auto write = [](void*) -> int {
           writing.set_value();
           sleepOn();
         };
         sqlite3_commit_hook(ZVStore::getDatabase(), write, nullptr);
       });
       Zorvane::addDesignEventWithEventId("a:b");
       writing.get_future().wait();
       levels::fallOut();
     }},
    {"killed",
     [](const std::string& moment) {
       killAt(moment);
       settle();
       levels::fallOut();
     }},
    {"killed at the next start", [](const std::string&) {}},
    {"a broken pipe that is ignored",
     [](const std::string&) {
       int ends[2];
       if (pipe2(ends, O_CLOEXEC) != 0) _exit(1);
       close(ends[0]);
       const bool isBroken = write(ends[1], "x", 1) < 0 && errno == EPIPE;
       _exit(isBroken ? 0 : 1);
     }},
    {"with signal handlers", [](const std::string&) { levels::fallOut(); }},
    {"with signal handlers set after",
     [](const std::string& how) {
       if (ZVWaitForCrashHandlers(20) != ZVCrashHandlers::installed) _exit(1);
       struct sigaction action {};
       if (how == "chain") {
         action.sa_flags = SA_SIGINFO;
         action.sa_sigaction = sayAndChain;
       } else {
         action.sa_handler = sayAndLeave;
       }
       sigaction(SIGSEGV, &action, &replaced);
       levels::fallOut();
     }},
    {"without handlers",
     [](const std::string& reason) {
       if (ZVWaitForCrashHandlers(20) != ZVCrashHandlers::keptAway) _exit(1);
       setZVUncaughtExceptionHandlers();
       if (reason.empty()) levels::fallOut();
       else levels::throwOut(reason);
     }},
    {"a broken connection",
     [](const std::string& bytes) {
       ZVHTTPApi& api = ZVHTTPApi::sharedInstance();
       const std::string payload(std::stoul(bytes), 'x');
       for (int time = 0; time < 5; ++time)
         api.sendSynchronousRequest(ZVHTTPApi::createRequestWithPayload(payload, api.getBaseUrl(), false, ""));
       _exit(0);
     }},
};

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  const std::string& cause = arguments.at(5);
  const std::string detail = arguments.size() > 6 ? arguments[6] : std::string();
  for (int number = 1; number < SIGRTMIN; ++number) std::signal(number, SIG_DFL);  // whatever started this program says
  ZVPlatform platform;
  platform.application = [] { return ZVApplicationFacts{.bundleIdentifier = "com.example.game", .build = "1421"}; };
  platform.collector = {arguments.at(1), "127.0.0.1", arguments.at(2)};
  platform.certificateAuthorityFile = arguments.at(3);
  platform.dataDirectory = arguments.at(4);
  platform.crashHandlers = cause != "without handlers";
  ZVPlatform::install(std::move(platform));

  Zorvane::setEnabledInfoLog(true);
  Zorvane::configureBuild(cause);
  Zorvane::configureUserId(cause);
  if (const auto found = kPreparations.find(cause); found != kPreparations.end()) found->second(detail);
  if (cause == "without keys") Zorvane::initializeWithConfiguredGameKeyAndGameSecret();
  else Zorvane::initializeWithGameKey("0123456789abcdef0123456789ABCDEF", "0123456789abcdef0123456789ABCDEF01234567");
  if (cause != "wait" && cause != "behind a request") settle();
  std::cout << "ready" << std::endl;
  kDeaths.at(cause)(detail);
  return 0;
}

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
#include <filesystem>
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

using Detail = const std::string&;
using Scenes = std::map<std::string, void (*)(Detail)>;

// Runs `task` when the library writes a line with `text` in it. What it throws is nobody's to catch.
void whenLogged(Detail text, void (*task)()) {
  ZVNotificationCenter::addObserver(
      k_ZV_LoggerMessageNotification, [text, task](const ZVNotification& notification) noexcept {
        if (notification.userInfo.find("message")->ifString()->find(text) != std::string::npos) task();
      });
}

void settle() { ZVThreading::sharedInstance().queue.drain(std::chrono::minutes(1)); }

// A transaction that is open as long as `task` runs, on the work queue: the library reports in its middle that a
// statement makes no sense.
void inTransaction(void (*task)()) {
  Zorvane::setEnableDebugLog(true);
  whenLogged("SQLITE3 PREPARE ERROR", task);
  ZVThreading::performTaskOnZVThreadWithBlock([] { ZVStore::executeQuerySyncWithSql("DELETE FROM nowhere"); });
}

[[noreturn]] void sleepOn() {
  for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

// Kills the process at a line, "LINE", or with the N-th commit that follows it, "N LINE".
int commitsToGo = 0;
std::atomic<bool> commitsCount{false};
void killAt(Detail moment) {
  commitsToGo = std::atoi(moment.c_str());
  if (commitsToGo == 0) return whenLogged(moment, [] { raise(SIGKILL); });
  whenLogged(moment.substr(2), [] { commitsCount = true; });
  ZVThreading::performTaskOnZVThreadWithBlock([] {
    const auto count = [](void*, sqlite3*, const char*, int) {
      if (commitsCount && --commitsToGo == 0) raise(SIGKILL);
      return SQLITE_OK;
    };
    sqlite3_wal_hook(ZVStore::getDatabase(), count, nullptr);
  });
}

void say() {
  constexpr std::string_view kText = "the game's own handler\n";
  [[maybe_unused]] const auto written = write(STDOUT_FILENO, kText.data(), kText.size());
}
[[noreturn]] void sayAndAbort() {
  say();
  std::abort();
}
void sayAndLeave(int, siginfo_t*, void*) {
  say();
  _exit(7);
}
struct sigaction replaced {};
void sayAndChain(int number, siginfo_t* information, void* context) {
  say();
  replaced.sa_sigaction(number, information, context);
}
void handle(int number, void (*handler)(int, siginfo_t*, void*)) {
  struct sigaction action {};
  action.sa_flags = SA_SIGINFO;
  action.sa_sigaction = handler;
  sigaction(number, &action, &replaced);
}

void expectHandlers(ZVCrashHandlers expected) {
  if (ZVWaitForCrashHandlers(60) != expected) _exit(2);
}

// What must be so before the session begins.
const Scenes kPreparations{
    {"switched off before", [](Detail) { Zorvane::setEnabledErrorReporting(false); }},
    {"with a handler that returns", [](Detail) { std::set_terminate(say); }},
    {"with a handler that aborts", [](Detail) { std::set_terminate(sayAndAbort); }},
    {"too often", [](Detail) { std::set_terminate(say); }},
    {"killed at the next start", killAt},
    {"a broken pipe that is ignored", [](Detail) { std::signal(SIGPIPE, SIG_IGN); }},
    {"with signal handlers",
     [](Detail) {
       for (const int number : {SIGSEGV, SIGBUS}) handle(number, sayAndLeave);
     }},
};

// What a game of any other cause dies of: an exception of that reason, or a fault without one.
void die(Detail reason) {
  if (reason.empty()) levels::fallOut();
  else levels::throwOut(reason);
}

const Scenes kDeaths{
    {"not at all", [](Detail) {}},
    {"killed at the next start", [](Detail) {}},
    {"wait",
     [](Detail events) {
       for (int event = 0; event < std::atoi(events.c_str()); ++event) Zorvane::addDesignEventWithEventId("a:b");
       std::cout << "reported" << std::endl;
       sleepOn();
     }},
    {"raise on cue",
     [](Detail file) {
       while (!std::filesystem::exists(file)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
       std::raise(SIGSEGV);
     }},
    {"raise", [](Detail number) { std::raise(std::stoi(number)); }},
    {"overrun on the queue",
     [](Detail) {
       ZVThreading::performTaskOnZVThreadWithBlock(levels::overrun);
       settle();
     }},
    {"overrun on a thread", [](Detail) { std::thread(levels::overrun).join(); }},
    {"fault in a transaction",
     [](Detail) {
       inTransaction(levels::fallOut);
       settle();
     }},
    {"fault beside a transaction",
     [](Detail) {
       static std::promise<void> open, reported;
       whenLogged("Add ERROR event", [] { reported.set_value(); });
       inTransaction([] {
         open.set_value();
         reported.get_future().wait();
       });
       open.get_future().wait();
       levels::fallOut();
     }},
    {"beside a disk write",
     [](Detail) {
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
    {"throw on a thread", [](Detail reason) { std::thread([reason] { levels::throwOut(reason); }).join(); }},
    {"throw on the queue",
     [](Detail) {
       whenLogged("Add DESIGN event", [] { levels::throwOut("on the queue"); });
       Zorvane::addDesignEventWithEventId("a:b");
       settle();
     }},
    {"throw a number", [](Detail) { throw 42; }},
    {"terminate", [](Detail) { std::terminate(); }},
    {"twice",
     [](Detail line) {
       whenLogged(line, levels::fallOut);
       levels::fallOut();
     }},
    {"twice, on two threads",
     [](Detail) {
       whenLogged("Add ERROR event", [] { std::thread(levels::fallOut).detach(); });
       levels::fallOut();
     }},
    {"switched off after",
     [](Detail reason) {
       Zorvane::setEnabledErrorReporting(false);
       settle();
       std::raise(SIGALRM);  // ignored
       die(reason);
     }},
    {"installed twice",
     [](Detail reason) {
       setZVUncaughtExceptionHandlers();
       die(reason);
     }},
    {"too often",
     [](Detail times) {
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
     [](Detail) {
       const pid_t child = fork();
       if (child == 0) levels::fallOut();
       int status = 0;
       waitpid(child, &status, 0);
       _exit(WIFSIGNALED(status) ? WTERMSIG(status) : 0);
     }},
    {"killed",
     [](Detail moment) {
       killAt(moment);
       settle();
       levels::fallOut();
     }},
    {"a broken pipe that is ignored",
     [](Detail) {
       int ends[2];
       if (pipe2(ends, O_CLOEXEC) == 0) close(ends[0]);
       _exit(write(ends[1], "x", 1) < 0 && errno == EPIPE ? 0 : 1);
     }},
    {"with a signal handler set after",
     [](Detail how) {
       expectHandlers(ZVCrashHandlers::installed);
       handle(SIGSEGV, how == "chain" ? sayAndChain : sayAndLeave);
       levels::fallOut();
     }},
    {"without handlers",
     [](Detail reason) {
       expectHandlers(ZVCrashHandlers::keptAway);
       setZVUncaughtExceptionHandlers();
       die(reason);
     }},
    {"a broken connection",
     [](Detail bytes) {
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
  Zorvane::configureAvailableCustomDimensions01({"ninja"});
  if (const auto found = kPreparations.find(cause); found != kPreparations.end()) found->second(detail);
  if (cause == "without keys") Zorvane::initializeWithConfiguredGameKeyAndGameSecret();
  else Zorvane::initializeWithGameKey("0123456789abcdef0123456789ABCDEF", "0123456789abcdef0123456789ABCDEF01234567");
  Zorvane::setCustomDimension01("ninja");
  if (cause != "wait") settle();
  std::cout << "ready" << std::endl;
  const auto death = kDeaths.find(cause);
  (death != kDeaths.end() ? death->second : die)(detail);
  return 0;
}

// A game that reports from its first static constructor to its last destructor. Standard input: the data directory,
// then the port of a collector.
#include <sys/wait.h>
#include <unistd.h>
#include <zorvane/Zorvane.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

static bool isChild = false;

// A leak checker asks this: in a forked child, all that its parent's threads held looks lost.
extern "C" int __lsan_is_turned_off() { return isChild ? 1 : 0; }

namespace {

struct ReportsAllItsLife {
  ReportsAllItsLife() {
    ZVPlatform platform;
    platform.collector = {"http", "127.0.0.1", ""};
    platform.exitSeconds = 20;          // however loaded the machine is
    platform.eventQueueSeconds = 3600;  // nothing is sent, and so deleted, on the way
    std::cin >> platform.dataDirectory >> platform.collector.port;
    ZVPlatform::install(std::move(platform));
    Zorvane::initializeWithGameKey("0123456789abcdef0123456789ABCDEF", "0123456789abcdef0123456789ABCDEF01234567");
    Zorvane::addDesignEventWithEventId("from:constructor");
  }
  ~ReportsAllItsLife() { Zorvane::addDesignEventWithEventId("from:destructor"); }
};
const ReportsAllItsLife first;  // made before the library is used, so it goes after it

bool childDoesNothing() {
  const pid_t child = fork();
  if (child == 0) {
    isChild = true;
    Zorvane::addDesignEventWithEventId("from:child");
    Zorvane::startSession();
    ZVPlatform::applicationDidEnterBackground();
    Zorvane::startTimer("child");
    std::exit(Zorvane::isRemoteConfigsReady() || Zorvane::stopTimer("child") != 0 ? 1 : 0);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main() {
  std::atexit([] { Zorvane::addDesignEventWithEventId("from:atexit"); });
  static std::atomic<bool> detachedRuns{false};
  std::thread([] {
    Zorvane::addDesignEventWithEventId("from:detached");
    detachedRuns = true;
    detachedRuns.notify_one();
    for (;;) {  // through the exit and beyond
      Zorvane::isRemoteConfigsReady();
      Zorvane::setEnableDebugLog(false);
      std::this_thread::yield();
    }
  }).detach();
  detachedRuns.wait(false);
  for (int i = 0; i < 1000; ++i) Zorvane::addDesignEventWithEventId("from:main");
  return childDoesNothing() ? 0 : 1;
}

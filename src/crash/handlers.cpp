// The path of a crash, all of it on the thread that crashed:
//
//   an exception that nobody catches: onTerminate()     a fatal signal: ZVSignalHandler()
//                           |                                     |
//                           +------------- CrashPath -------------+
//                                             |   the deadline starts; signals that can wait do
//                                             |   another thread that crashes waits here for the end
//                                   the report's text: crash/report.cpp
//                                             |
//                                         send()
//                                             |   the work queue finishes what was posted, if it can, and stands still
//                                             |   the event is stored, then sent
//                                             |
//                       the game's own terminate handler, if there is one
//                                             |
//                                   the end, with status 1
//
// Any step may fail again or wait for what never comes: a lock that this thread holds, a heap in pieces, a collector
// that doesn't answer. A second crash on this thread ends the process at once; the deadline, kept by a thread that was
// made at installation, ends it otherwise. Nothing here throws: what tries comes back as a second crash.
#include "crash/handlers.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include <zorvane/ZVCrashReporting.h>

#include "crash/report.h"
#include "events/ZVEvents.h"
#include "platform/CallStack.h"
#include "platform/Console.h"
#include "platform/Deadline.h"
#include "platform/Process.h"
#include "platform/Termination.h"
#include "runtime/TaskQueue.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"

namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kMostReports = 101;  // of one process
constexpr auto kQueueMoment = 1s;

constinit std::atomic<std::terminate_handler> previousHandler{nullptr};
constinit std::atomic<std::int32_t> reports{0};
std::atomic<std::thread::id> crashingThread{};

bool isReporting() { return ZVState::sharedInstance().useErrorReporting; }

// The path belongs to one thread, from here to the end.
class CrashPath {
 public:
  CrashPath() noexcept {
    takeFaultsOnly();
    std::thread::id owner;
    if (!crashingThread.compare_exchange_strong(owner, std::this_thread::get_id())) comeTooLate(owner);
    startDeadline();
  }
  ~CrashPath() { crashingThread = std::thread::id(); }
  CrashPath(const CrashPath&) = delete;
  CrashPath& operator=(const CrashPath&) = delete;

 private:
  [[noreturn]] static void comeTooLate(std::thread::id owner) noexcept {
    if (owner == std::this_thread::get_id()) endProcess();
    for (;;) std::this_thread::sleep_for(1h);
  }
};

// What the game reported before it crashed is stored before the crash is, and then nothing changes under its hands. A
// queue that waits for the collector, or has crashed itself, is left as it is.
class QueueAtRest {
 public:
  QueueAtRest() {
    if (TaskQueue::currentLabel() != nullptr) return;
    ZVThreading::performTaskOnZVThreadWithBlock([rest = rest_] {
      rest->begun.set_value();
      rest->over.get_future().wait();
    });
    rest_->begun.get_future().wait_for(kQueueMoment);
  }
  ~QueueAtRest() { rest_->over.set_value(); }
  QueueAtRest(const QueueAtRest&) = delete;
  QueueAtRest& operator=(const QueueAtRest&) = delete;

 private:
  struct Rest {
    std::promise<void> begun;
    std::promise<void> over;
  };
  const std::shared_ptr<Rest> rest_ = std::make_shared<Rest>();
};

void send(std::string_view handler, const std::string& report) {
  if (reports >= kMostReports) {
    writeConsoleLine(handler, " limted exceeded: ", std::to_string(reports));
    return;
  }
  ++reports;
  const QueueAtRest still;
  ZVState& state = ZVState::sharedInstance();
  state.isHandlingUncaughtException = true;
  ZVEvents::addErrorEventWithSeverity(ZVErrorSeverity::critical, report, {}, false);
  ZVEvents::processEventsWithCategory("error", false);
  state.isHandlingUncaughtException = false;
}

[[noreturn]] void onTerminate() noexcept {
  const std::terminate_handler previous = previousHandler;
  if (inForkedChild() && previous != nullptr && previous != onTerminate) previous();
  if (inForkedChild() || !isReporting()) std::abort();  // as if this had not been installed
  ZVUncaughtExceptionHandlerCallback();
  endProcess();  // a terminate handler can't return
}

}  // namespace

void setZVUncaughtExceptionHandlers() noexcept {
  try {
    if (!isReporting()) return;
    watchForForks();
    prepareDeadline();
    prepareCallStack();
    prepareReports();
    const std::terminate_handler before = std::get_terminate();
    previousHandler = wasSetBySomebody(before) ? before : nullptr;
    std::set_terminate(onTerminate);
    handleFatalSignals(ZVSignalHandler);
  } catch (const std::exception& failure) {  // no thread for the deadline, say: a crash without one might hang
    ZVLogger::w(0, "Crashes will not be reported: {}", failure.what());
  } catch (...) {  // of the host's, which was asked for its facts
    ZVLogger::w(0, "Crashes will not be reported");
  }
}

void ZVUncaughtExceptionHandlerCallback() noexcept {
  if (!isReporting()) return;
  const CrashPath path;
  writeConsoleLine("ZVUncaughtExceptionHandlerCallback entered");
  send("ZVUncaughtExceptionHandlerCallback", exceptionReport(uncaughtException()));
  const std::terminate_handler previous = previousHandler;
  if (previous == nullptr) endProcess();
  startDeadline();  // anew: the game's handler may have a report of its own to write
  previous();       // this very one, after a second installation: a second crash on this thread, so the end
}

void ZVSignalHandler(FatalSignal signal) noexcept {
  if (inForkedChild()) return leaveToTheSystem(signal);
  if (!isReporting()) {
    if (signal.repeats) leaveToTheSystem(signal);  // returning alone would repeat it forever
    return;
  }
  const CrashPath path;
  writeConsoleLine("ZVSignalHandler entered");
  send("ZVSignalHandler", signalReport());
  endProcess();
}

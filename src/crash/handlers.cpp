// The path of a crash:
//
//   on the thread that crashed
//
//     an exception that nobody catches: onTerminate()     a fatal signal: ZVSignalHandler()
//                             |                                     |
//                             +------------- CrashPath -------------+
//                                               |   the deadline starts; signals that can wait do
//                                               |   another thread that crashes waits here for the end
//                               the first form: crash/first_form.cpp
//                                               |   system calls only: neither heap nor lock nor code of the game's
//                               what only this thread can tell: what(), names of functions
//                                               |
//   on the standby thread, whose heap nobody has locked; on the work queue's own where that has crashed, for only it
//   can take again the locks that it holds
//                                               |
//                               the report's text: crash/report.cpp; it joins the first form
//                                               |
//                                           send()
//                                               |   the request in flight is given up; the work queue finishes what was
//                                               |   posted, if it can, and stands still
//                                               |   the event is stored: the first form is withdrawn
//                                               |   it is sent
//   on the thread that crashed
//                                               |
//                         the game's own terminate handler, if there is one
//                                               |
//                                     the end, with status 1
//
// Any step after the first form may fail again or wait for what never comes: a lock that is held, a heap in pieces, a
// collector that doesn't answer. A second crash on the path ends the process at once; the deadline, kept by a thread
// that was made at installation, ends it otherwise. The next start makes the event of a first form that was left:
// crash/left_behind.cpp. Nothing here throws: what tries comes back as a second crash.
#include "crash/handlers.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "crash/first_form.h"
#include "crash/left_behind.h"
#include "crash/report.h"
#include "events/ZVEvents.h"
#include "platform/CallStack.h"
#include "platform/Console.h"
#include "platform/Deadline.h"
#include "platform/Process.h"
#include "platform/Standby.h"
#include "platform/Termination.h"
#include "runtime/CrashHandling.h"
#include "runtime/TaskQueue.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "transport/ZVHTTPApi.h"

namespace zorvane {

namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kMostReports = 101;  // of one process
constexpr auto kQueueMoment = 2s;
constexpr std::size_t kMostReasonBytes = 3 * kMostReportUnits;

// What is known of the crash. The path's own.
struct Crash {
  std::string_view handler;
  bool isException = false;
  const char* exceptionType = nullptr;
  std::array<char, kMostReasonBytes> reasonRoom{};
  std::optional<std::string_view> reason{};
  CallStack stack{};
};

constinit Crash crash;
constinit std::atomic<std::terminate_handler> previousHandler{nullptr};
constinit std::atomic<std::int32_t> reports{0};
std::atomic<std::thread::id> crashingThread{};

bool isReporting() noexcept { return ZVState::isErrorReportingEnabled(); }
bool mayReport() noexcept { return ZVState::isEventSubmissionEnabled() && reports < kMostReports; }

// The path belongs to one thread, from here to the end.
class CrashPath {
 public:
  CrashPath() noexcept {
    takeFaultsOnly();
    std::thread::id owner;
    if (!crashingThread.compare_exchange_strong(owner, std::this_thread::get_id())) comeTooLate(owner);
    startDeadline();
  }
  ~CrashPath() {
    prepareNextFirstForm();
    crashingThread = std::thread::id();
  }
  CrashPath(const CrashPath&) = delete;
  CrashPath& operator=(const CrashPath&) = delete;

 private:
  [[noreturn]] static void comeTooLate(std::thread::id owner) noexcept {
    if (owner == std::this_thread::get_id() || onStandby()) endProcess();
    for (;;) std::this_thread::sleep_for(1h);
  }
};

// What the game reported before it crashed is stored before the crash is, and then nothing changes under its hands. A
// request that holds the queue is given up. A queue that can't come to rest, or has crashed itself, is left as it is.
class QueueAtRest {
 public:
  QueueAtRest() {
    if (TaskQueue::currentLabel() != nullptr) return;
    ZVHTTPApi::sharedInstance().giveUpRequests();
    ZVThreading::performTaskOnZVThreadWithBlock([rest = rest_] {
      rest->begun.set_value();
      rest->over.get_future().wait();
    });
    rest_->begun.get_future().wait_for(kQueueMoment);
    ZVHTTPApi::sharedInstance().makeRequestsAgain();
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

std::string describeCrash() {
  CrashText text;
  text.firstLine = applicationLine();
  if (crash.isException) {
    text.exceptionName = exceptionName(crash.exceptionType);
    text.exceptionReason = crash.reason;
  }
  for (std::size_t index = 0; index < crash.stack.count; ++index) {
    const void* const frame = crash.stack.frames[index];
    text.frames.push_back(describeFrame(frame, crash.stack.places[index], frame));
  }
  return reportText(text);
}

void send(const std::string& report) {
  if (reports >= kMostReports) {
    writeConsoleLine(crash.handler, " limted exceeded: ", std::to_string(reports));
    return;
  }
  ++reports;
  const QueueAtRest still;
  const CrashHandling handling;
  const std::string id = crashId();
  ZVEvents::addErrorEventWithSeverity(ZVErrorSeverity::critical, report, {}, false, false, id);
  if (isCrashWaiting(id).value_or(false)) withdrawFirstForm();  // before it is sent, and nobody could find it any more
  ZVEvents::processEventsWithCategory("error", false);
}

void tellOfCrash() noexcept {
  writeConsoleLine(crash.handler, " entered");
  const std::string report = describeCrash();
  addTextToFirstForm(report);
  send(report);
}

// Everything up to the event's sending.
void handleCrash(std::string_view handler, bool isException) noexcept {
  crash.handler = handler;
  crash.isException = isException;
  crash.exceptionType = isException ? uncaughtExceptionType() : nullptr;
  if (mayReport()) beginFirstForm();
  if (isException) addExceptionToFirstForm(crash.exceptionType);
  captureFrames(crash.stack);
  addFramesToFirstForm(crash.stack);

  crash.reason = isException ? uncaughtExceptionReason(crash.reasonRoom) : std::nullopt;
  locateFrames(crash.stack);
  if (TaskQueue::currentLabel() != nullptr) tellOfCrash();
  else runOnStandby(tellOfCrash);
}

[[noreturn]] void onTerminate() noexcept {
  const std::terminate_handler previous = previousHandler;
  if (inForkedChild() && previous != nullptr && previous != onTerminate) previous();
  if (inForkedChild() || !isReporting()) std::abort();  // as if this had not been installed
  ZVUncaughtExceptionHandlerCallback();
  endProcess();  // a terminate handler can't return
}

}  // namespace

void takeOverTerminate() noexcept {
  const std::terminate_handler before = std::get_terminate();
  previousHandler = wasSetBySomebody(before) ? before : nullptr;
  std::set_terminate(onTerminate);
}

void ZVUncaughtExceptionHandlerCallback() noexcept {
  if (!isReporting()) return;
  const CrashPath path;
  handleCrash("ZVUncaughtExceptionHandlerCallback", true);
  const std::terminate_handler previous = previousHandler;
  if (previous == nullptr) endProcess();
  startDeadline();  // again: the game's handler may have a report of its own to write
  previous();       // this very one, after a second installation: a second crash on this thread, so the end
}

void ZVSignalHandler(FatalSignal signal) noexcept {
  if (inForkedChild()) return leaveToTheSystem(signal);
  if (!isReporting()) {
    if (signal.repeats) leaveToTheSystem(signal);  // returning alone would repeat it forever
    return;
  }
  const CrashPath path;
  handleCrash("ZVSignalHandler", false);
  endProcess();
}

}  // namespace zorvane

// How the crash handlers come to stand, and how a host learns of it.
#include <zorvane/ZVCrashReporting.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>

#include "crash/first_form.h"
#include "crash/handlers.h"
#include "crash/report.h"
#include "events/ZVEvents.h"
#include "platform/CallStack.h"
#include "platform/Deadline.h"
#include "platform/Platform.h"
#include "platform/Process.h"
#include "platform/Signals.h"
#include "platform/Standby.h"
#include "runtime/TaskQueue.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "values/Lasting.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

constexpr double kLongestWaitSeconds = 3600;

struct Decision {
  std::mutex mutex;
  std::condition_variable changed;
  ZVCrashHandlers handlers = ZVCrashHandlers::undecided;  // guarded by mutex
};
Decision& decision() noexcept { return lasting<Decision>(); }

void decide(ZVCrashHandlers handlers) {
  const std::scoped_lock lock(decision().mutex);
  decision().handlers = handlers;
  decision().changed.notify_all();
}

struct Installed {
  bool hasFile;
  decltype(handleFatalSignals(ZVSignalHandler)) replaced;  // names of signals
};
Installed installOneAtATime() {
  static std::mutex one;
  const std::scoped_lock lock(one);
  watchForForks();
  prepareDeadline();
  prepareStandby();
  prepareCallStack();
  const bool hasFile = prepareFirstForm(applicationLine());
  ZVEvents::setCommonFieldsKeeper(rememberForCrash);
  takeOverTerminate();
  return {hasFile, handleFatalSignals(ZVSignalHandler)};
}

void install() {
  const auto [hasFile, replaced] = installOneAtATime();
  if (!hasFile) ZVLogger::d(0, "There is no file for crashes: those that can't be stored at once are lost.");
  if (!replaced.empty())
    ZVLogger::w(0, "Crash reporting replaces the handlers that were set for {}.", joined(replaced, ", "));
}

ZVCrashHandlers installUnlessKeptAway() {
  if (!ZVState::isErrorReportingEnabled() || !platform().crashHandlers) return ZVCrashHandlers::keptAway;
  install();
  return ZVCrashHandlers::installed;
}

}  // namespace

void setZVUncaughtExceptionHandlers() noexcept {
  auto outcome = ZVCrashHandlers::keptAway;
  try {
    outcome = installUnlessKeptAway();
  } catch (const std::exception& failure) {  // no thread for the deadline, say: a crash without one might hang
    ZVLogger::w(0, "Crashes will not be reported: {}", failure.what());
  } catch (...) {  // of the host's, which was asked for its facts
    ZVLogger::w(0, "Crashes will not be reported");
  }
  decide(outcome);
}

ZVCrashHandlers ZVWaitForCrashHandlers(double seconds) noexcept {
  if (inForkedChild()) return ZVCrashHandlers::undecided;
  const std::chrono::duration<double> limit(seconds > 0 ? std::min(seconds, kLongestWaitSeconds) : 0);
  Decision& made = decision();
  std::unique_lock lock(made.mutex);
  if (TaskQueue::currentLabel() == nullptr)
    made.changed.wait_for(lock, limit, [&] { return made.handlers != ZVCrashHandlers::undecided; });
  return made.handlers;
}

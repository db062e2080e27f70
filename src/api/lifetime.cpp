// How the library comes up with the process's first call, and what a normal exit waits for.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "api/frame.h"
#include "platform/Platform.h"
#include "platform/Process.h"
#include "runtime/TaskQueue.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"

namespace {

constinit std::atomic<bool> loaded{false};
constinit std::recursive_mutex loading;  // an observer may call in again while the library comes up

constexpr double kLongestExitSeconds = 3600;

bool mayWaitAtExit() { return !inForkedChild() && platform().exitSeconds > 0 && TaskQueue::currentLabel() == nullptr; }

void drainQueue() {
  const double seconds = std::min(platform().exitSeconds, kLongestExitSeconds);
  ZVThreading::sharedInstance().queue.drain(std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000)));
}

// What was accepted is stored before the process ends: an open background task may finish first, then a request that
// holds the queue is given up (its batch goes back to pending) and what was posted is run.
void finish() noexcept {
  try {
    if (!mayWaitAtExit()) return;
    ZVThreading::stopWaitingForMainThread();
    platform().backgroundTasks->waitAtExit(platform().backgroundSeconds);
    ZVHTTPApi::sharedInstance().giveUpRequests();
    drainQueue();
  } catch (...) {
    logFailedCall();
  }
}

// The game's statics that are older than the library are destroyed after finish(), and may have reported on their way.
void finishWhatCameLate() noexcept {
  try {
    if (mayWaitAtExit()) drainQueue();
  } catch (...) {
    logFailedCall();
  }
}

void comeUp() {
  watchForForks();
  keepCryptographyAtExit();
  platform();  // in force from here on: what a host installs later comes too late
  ZVThreading::performTaskOnZVThreadWithBlock([] {
    if (!ZVStore::ensureDatabase(false)) ZVLogger::w(0, "Could not ensure/validate local event database");
  });
  ZVState::sharedInstance();
  std::atexit(finish);
  callAtTheVeryEnd(finishWhatCameLate);
}

// A call that comes in while the library comes up, from an observer, goes ahead; one that comes after a failure tries
// again.
void load() {
  const std::scoped_lock lock(loading);
  static constinit bool begun = false;
  if (begun) return;
  begun = true;
  try {
    comeUp();
  } catch (...) {
    begun = false;
    throw;
  }
  loaded.store(true, std::memory_order_release);
}

}  // namespace

bool enterLibrary() {
  if (inForkedChild()) return false;
  if (!loaded.load(std::memory_order_acquire)) load();
  return true;
}

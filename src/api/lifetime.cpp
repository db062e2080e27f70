// How the library starts with the process's first call, and what a normal exit waits for.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>

#include "api/frame.h"
#include "events/ZVEvents.h"
#include "platform/Platform.h"
#include "platform/Process.h"
#include "runtime/SdkErrorReporter.h"
#include "runtime/TaskQueue.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "transport/ZVHTTPApi.h"

namespace zorvane {

namespace {

constinit std::atomic<bool> loaded{false};
constinit std::recursive_mutex loading;  // an observer may call in again while the library starts

constexpr double kLongestExitSeconds = 3600;

bool mayWaitAtExit() { return !inForkedChild() && platform().exitSeconds > 0 && TaskQueue::currentLabel() == nullptr; }

// Waits for the queue until the given share of the exit's bound is used up. The bound is for all waits together.
void drainQueue(double share) {
  using Clock = std::chrono::steady_clock;
  static constinit Clock::duration waited{0};
  const std::chrono::duration<double> bound(share * std::min(platform().exitSeconds, kLongestExitSeconds));
  const auto begin = Clock::now();
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(bound - waited);
  if (left.count() > 0) ZVThreading::sharedInstance().queue.drain(left);
  waited += Clock::now() - begin;
}

// What was accepted is stored before the process ends: an open background task may finish first, then a request that
// holds the queue is given up (its batch waits for the next run) and what was posted is run. A third of the bound is
// left for what comes late.
void finish() noexcept {
  try {
    if (!mayWaitAtExit()) return;
    platform().backgroundTasks->waitAtExit(platform().backgroundSeconds);
    ZVHTTPApi::sharedInstance().giveUpRequests();
    drainQueue(2.0 / 3);
  } catch (...) {
    logFailedCall();
  }
}

// The game's statics that are older than the library are destroyed after finish(), and may have reported on their way.
void finishWhatCameLate() noexcept {
  try {
    if (mayWaitAtExit()) drainQueue(1);
  } catch (...) {
    logFailedCall();
  }
}

void start() {
  watchForForks();
  keepCryptographyAtExit();
  platform();  // in force from here on: what a host installs later comes too late
  setSdkErrorReporter(ZVEvents::reportSdkErrorAsEvent);
  ZVThreading::performTaskOnZVThreadWithBlock([] {
    if (!ZVStore::ensureDatabase(false)) ZVLogger::w(0, "Could not ensure/validate local event database");
  });
  ZVState::sharedInstance();
  ZVEvents::sharedInstance();
  std::atexit(finish);
  callAtTheVeryEnd(finishWhatCameLate);
}

// A call that comes in while the library starts, from an observer, goes ahead; one that comes after a failure tries
// again.
void load() {
  const std::scoped_lock lock(loading);
  static constinit bool begun = false;
  if (begun) return;
  begun = true;
  try {
    start();
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

}  // namespace zorvane

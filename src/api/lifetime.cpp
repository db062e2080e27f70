// How the library comes up with the process's first call, and what a normal exit waits for.
#include <atomic>
#include <chrono>
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

// What was accepted is stored before the process ends: an open background task may finish first, then a request that
// holds the queue is given up (its batch goes back to pending) and what was posted is run.
void finishAtExit() {
  const ZVPlatform& edge = platform();
  if (inForkedChild() || edge.exitSeconds <= 0 || TaskQueue::currentLabel() != nullptr) return;
  ZVThreading::stopWaitingForMainThread();
  edge.backgroundTasks->waitAtExit(edge.backgroundSeconds);
  ZVHTTPApi::sharedInstance().giveUpRequests();
  ZVThreading::sharedInstance().queue.drain(
      std::chrono::milliseconds(static_cast<std::int64_t>(edge.exitSeconds * 1000)));
}

void load() {
  const std::scoped_lock lock(loading);
  static constinit bool begun = false;
  if (begun) return;
  begun = true;
  watchForForks();
  keepCryptographyAtExit();
  platform();  // in force from here on: what a host installs later comes too late
  ZVThreading::performTaskOnZVThreadWithBlock([] {
    if (!ZVStore::ensureDatabase(false)) ZVLogger::w(0, "Could not ensure/validate local event database");
  });
  ZVState::sharedInstance();
  std::atexit(finishAtExit);
  loaded.store(true, std::memory_order_release);
}

}  // namespace

bool enterLibrary() noexcept {
  if (inForkedChild()) return false;
  if (!loaded.load(std::memory_order_acquire)) load();
  return true;
}

#include "platform/Standby.h"

#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cstdlib>

#include "platform/Thread.h"

namespace zorvane {

namespace {

constexpr std::size_t kFirstTaste = 4096;  // bytes

constinit sem_t called{};
constinit sem_t finished{};
constinit std::atomic<void (*)() noexcept> wanted{nullptr};
constinit std::atomic<pthread_t> standby{};

void waitFor(sem_t& semaphore) noexcept {
  while (sem_wait(&semaphore) != 0) {
  }
}

void standBy() {
  standby = pthread_self();
  // A thread's first allocation chooses its part of the heap, and has to look for it under locks.
  void* volatile const taste = std::malloc(kFirstTaste);
  std::free(taste);
  for (;;) {
    waitFor(called);
    wanted.load()();
    sem_post(&finished);
  }
}

}  // namespace

void prepareStandby() {
  [[maybe_unused]] static const bool made = [] {
    sem_init(&called, 0, 0);
    sem_init(&finished, 0, 0);
    startThread("zorvane crash", standBy).detach();
    return true;
  }();
}

void runOnStandby(void (*task)() noexcept) noexcept {
  wanted = task;
  sem_post(&called);
  waitFor(finished);
}

bool onStandby() noexcept { return pthread_equal(standby, pthread_self()) != 0; }

}  // namespace zorvane

#include "platform/Deadline.h"

#include <semaphore.h>
#include <time.h>
#include <unistd.h>

#include "platform/Thread.h"

namespace zorvane {

namespace {

constexpr time_t kSeconds = 5;

constinit sem_t started{};

// Asks for nothing that a broken process may lack: no heap, no lock, no other thread.
void keepDeadline() noexcept {
  while (sem_wait(&started) != 0) {
  }
  timespec due{};
  do {
    clock_gettime(CLOCK_MONOTONIC, &due);
    due.tv_sec += kSeconds;
  } while (sem_clockwait(&started, CLOCK_MONOTONIC, &due) == 0);
  endProcess();
}

}  // namespace

void prepareDeadline() {
  [[maybe_unused]] static const bool made = [] {
    sem_init(&started, 0, 0);
    startThread("zorvane end", keepDeadline).detach();
    return true;
  }();
}

void startDeadline() noexcept { sem_post(&started); }

void endProcess() noexcept { _exit(1); }

}  // namespace zorvane

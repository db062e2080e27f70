// The signals that a thread raises by what it does itself: they can't wait, and no other thread could take them.
#pragma once

#include <signal.h>

#include <array>

namespace zorvane {

inline sigset_t allButFaults() noexcept {
  sigset_t signals;
  sigfillset(&signals);
  for (const int fault : std::array{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
    sigdelset(&signals, fault);
  return signals;
}

}  // namespace zorvane

#include "platform/Signals.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "platform/linux/FaultSignals.h"

namespace {

constexpr std::array kFatal{SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGFPE,  SIGBUS,
                            SIGSEGV, SIGSYS, SIGPIPE, SIGALRM, SIGXCPU, SIGXFSZ};
constexpr std::array kRepeating{SIGILL, SIGFPE, SIGBUS, SIGSEGV};

constinit std::atomic<FatalSignalHandler> inForce{nullptr};

// A positive code is the kernel's: nobody sent this signal, an instruction raised it.
bool repeats(int number, const siginfo_t& information) {
  return information.si_code > 0 && std::ranges::find(kRepeating, number) != kRepeating.end();
}

void onSignal(int number, siginfo_t* information, void*) {
  const int before = errno;
  inForce.load()({number, repeats(number, *information)});
  errno = before;
}

}  // namespace

void handleFatalSignals(FatalSignalHandler handler) noexcept {
  inForce = handler;
  struct sigaction action {};
  action.sa_sigaction = onSignal;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  for (const int number : kFatal) sigaction(number, &action, nullptr);
}

void leaveToTheSystem(FatalSignal signal) noexcept {
  ::signal(signal.number, SIG_DFL);
  raise(signal.number);  // held back until the handler has returned
}

void takeFaultsOnly() noexcept {
  const sigset_t others = allButFaults();
  pthread_sigmask(SIG_SETMASK, &others, nullptr);
}

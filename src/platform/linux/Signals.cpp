#include "platform/Signals.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "platform/linux/FaultSignals.h"

namespace zorvane {

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

enum class Disposition { byDefault, ignored, ours, somebodys };

Disposition dispositionOf(int number) noexcept {
  struct sigaction current {};
  sigaction(number, nullptr, &current);
  if (current.sa_handler == SIG_IGN) return Disposition::ignored;
  if (current.sa_handler == SIG_DFL) return Disposition::byDefault;
  const bool isOurs = (current.sa_flags & SA_SIGINFO) != 0 && current.sa_sigaction == onSignal;
  return isOurs ? Disposition::ours : Disposition::somebodys;
}

}  // namespace

std::vector<std::string> handleFatalSignals(FatalSignalHandler handler) {
  inForce = handler;
  struct sigaction action {};
  action.sa_sigaction = onSignal;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  std::vector<std::string> replaced;
  for (const int number : kFatal) {
    const Disposition before = dispositionOf(number);
    if (before == Disposition::ignored) continue;  // runtimes and servers live with broken pipes
    if (before == Disposition::somebodys) replaced.push_back(std::string("SIG") + sigabbrev_np(number));
    sigaction(number, &action, nullptr);
  }
  return replaced;
}

void leaveToTheSystem(FatalSignal signal) noexcept {
  ::signal(signal.number, SIG_DFL);
  raise(signal.number);  // held back until the handler has returned
}

void takeFaultsOnly() noexcept {
  const sigset_t others = allButFaults();
  pthread_sigmask(SIG_SETMASK, &others, nullptr);
}

}  // namespace zorvane

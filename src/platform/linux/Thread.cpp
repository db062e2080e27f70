#include "platform/Thread.h"

#include <pthread.h>

#include <array>
#include <csignal>
#include <utility>

std::thread startThread(std::string name, std::function<void()> body) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  // Faults of this very thread must still reach the process's handlers.
  for (const int fault : std::array{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
    sigdelset(&blocked, fault);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);  // inherited from here, so there is no moment without it
  std::thread thread([name = std::move(name), body = std::move(body)] {
    pthread_setname_np(pthread_self(), name.c_str());
    body();
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

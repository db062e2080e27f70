#include "platform/Thread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

#include "platform/linux/FaultSignals.h"

namespace zorvane {

namespace {

// Holds back from the calling thread, and from those that it makes, every signal but the faults of a thread's own.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    const sigset_t blocked = allButFaults();
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

std::thread startThread(std::string name, std::function<void()> body) {
  const SignalsHeldBack inherited;  // by the new thread, so there is no moment without it
  return std::thread([name = std::move(name), body = std::move(body)] {
    pthread_setname_np(pthread_self(), name.c_str());
    body();
  });
}

}  // namespace zorvane

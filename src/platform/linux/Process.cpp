#include "platform/Process.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <atomic>

namespace zorvane {

namespace {

constinit std::atomic<bool> forked{false};
constinit std::atomic<void (*)()> veryLast{nullptr};

__attribute__((destructor)) void runVeryLast() {
  if (void (*const last)() = veryLast.load()) last();
}

}  // namespace

void watchForForks() noexcept {
  [[maybe_unused]] static const int registered =
      pthread_atfork(nullptr, nullptr, [] { forked.store(true, std::memory_order_relaxed); });
}

bool inForkedChild() noexcept { return forked.load(std::memory_order_relaxed); }

void callAtTheVeryEnd(void (*last)()) noexcept { veryLast.store(last); }

void keepCryptographyAtExit() noexcept { OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); }

}  // namespace zorvane

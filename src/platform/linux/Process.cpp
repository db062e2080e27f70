#include "platform/Process.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <atomic>

namespace {

constinit std::atomic<bool> forked{false};

}  // namespace

void watchForForks() noexcept {
  [[maybe_unused]] static const int registered =
      pthread_atfork(nullptr, nullptr, [] { forked.store(true, std::memory_order_relaxed); });
}

bool inForkedChild() noexcept { return forked.load(std::memory_order_relaxed); }

void keepCryptographyAtExit() noexcept { OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); }

#include "platform/SleepOnWord.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <limits>

namespace zorvane {

// The standard library's wait() would do without a limit; but it gives up the processor several times before it sleeps,
// which a thread that sleeps for each event pays for.
static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t), "the kernel reads the word itself");

void sleepWhile(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
                std::optional<std::chrono::milliseconds> limit) noexcept {
  timespec left{};
  if (limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*limit);
    left.tv_sec = seconds.count();
    left.tv_nsec = std::chrono::nanoseconds(*limit - seconds).count();
  }
  syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, limit ? &left : nullptr, nullptr, 0);
}

void wakeSleepersOn(const std::atomic<std::uint32_t>& word) noexcept {
  syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, std::numeric_limits<int>::max(), nullptr, nullptr, 0);
}

}  // namespace zorvane

#include "platform/Console.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <span>

#include "platform/SleepOnWord.h"

namespace zorvane {

namespace {

// "2026-05-04 12:30:11.123 game[417:419] ", in the manner of the platforms' system logs.
std::size_t writePrefix(std::array<char, 128>& buffer) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  localtime_r(&now.tv_sec, &parts);
  const std::size_t length = strftime(buffer.data(), buffer.size(), "%Y-%m-%d %H:%M:%S", &parts);
  const int more = std::snprintf(buffer.data() + length, buffer.size() - length, ".%03ld %.32s[%d:%d] ",
                                 now.tv_nsec / 1'000'000, program_invocation_short_name, getpid(), gettid());
  return more > 0 ? length + static_cast<std::size_t>(more) : length;
}

// Keeps a write of the calling thread's from raising SIGPIPE in the game when nobody reads its standard error.
class PipeSignalHeldBack {
 public:
  PipeSignalHeldBack() noexcept {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~PipeSignalHeldBack() {
    constexpr timespec kAtOnce{};
    if (!wasPending_) sigtimedwait(&pipe_, nullptr, &kAtOnce);  // takes back what this write has raised
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  PipeSignalHeldBack(const PipeSignalHeldBack&) = delete;
  PipeSignalHeldBack& operator=(const PipeSignalHeldBack&) = delete;

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

// How long a line waits for a reader that is slower than the game, and for its turn.
constexpr auto kPatience = std::chrono::milliseconds(1000);

constexpr std::size_t kParts = 6;  // of a line

constinit std::atomic<std::uint32_t> taken{0};
constinit bool lastWasCut = false;      // of the Turn
constinit bool readerIsAbsent = false;  // of the Turn; nobody waits for one again that has let a line wait in vain

// One line at a time. A thread that dies in the middle of its own leaves the others without one, and without a lock
// that they would wait for.
class Turn {
 public:
  Turn() noexcept : isMine_(take()) {}
  ~Turn() {
    if (!isMine_) return;
    taken.store(0, std::memory_order_release);
    wakeSleepersOn(taken);
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  explicit operator bool() const noexcept { return isMine_; }

 private:
  static bool take() noexcept {
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + kPatience;
    for (std::uint32_t free = 0; !taken.compare_exchange_strong(free, 1, std::memory_order_acquire); free = 0) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
      if (left.count() <= 0) return false;
      sleepWhile(taken, 1, left);
    }
    return true;
  }

  const bool isMine_;
};

iovec span(std::string_view text) noexcept { return {const_cast<char*>(text.data()), text.size()}; }

// False when nobody has read anything within the bound, or nobody can any more.
bool waitForRoom() noexcept {
  pollfd console{STDERR_FILENO, POLLOUT, 0};
  const int ready = poll(&console, 1, readerIsAbsent ? 0 : static_cast<int>(kPatience.count()));
  readerIsAbsent = ready == 0;
  return ready > 0 || (ready < 0 && errno == EINTR);
}

// A pipe that has room has it for this much: a longer piece would wait for its reader without a bound.
ssize_t writeSome(std::span<const iovec> parts) noexcept {
  std::array<iovec, kParts> piece{};
  std::size_t room = PIPE_BUF;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    piece[i] = {parts[i].iov_base, std::min(room, parts[i].iov_len)};
    room -= piece[i].iov_len;
  }
  return writev(STDERR_FILENO, piece.data(), static_cast<int>(piece.size()));
}

std::size_t sizeOf(std::span<const iovec> parts) noexcept {
  std::size_t size = 0;
  for (const iovec& part : parts) size += part.iov_len;
  return size;
}

void skip(std::span<iovec> parts, std::size_t bytes) noexcept {
  for (iovec& part : parts) {
    const std::size_t skipped = std::min(bytes, part.iov_len);
    part = {static_cast<char*>(part.iov_base) + skipped, part.iov_len - skipped};
    bytes -= skipped;
  }
}

// Whole, or nothing of it, unless the reader stops within a line that takes more room than a pipe has.
void writeWhole(std::span<iovec, kParts> parts) noexcept {
  std::size_t left = sizeOf(parts);
  const std::size_t all = left;
  while (left > 0) {
    if (!waitForRoom()) break;
    const ssize_t written = writeSome(parts);
    if (written >= 0) {
      skip(parts, static_cast<std::size_t>(written));
      left -= static_cast<std::size_t>(written);
    } else if (errno != EINTR && errno != EAGAIN) {
      break;  // a log that can't be written has nobody left to tell
    }
  }
  if (left < all) lastWasCut = left > 0;
}

}  // namespace

void writeConsoleLine(std::string_view text, std::string_view more, std::string_view rest) noexcept {
  std::array<char, 128> prefix{};
  const std::size_t length = writePrefix(prefix);
  const Turn turn;
  if (!turn) return;  // another thread's line has no reader, or that thread has crashed
  std::array<iovec, kParts> parts{
      span(lastWasCut ? "\n" : ""), span({prefix.data(), length}), span(text), span(more), span(rest), span("\n")};
  const PipeSignalHeldBack quiet;
  writeWhole(parts);
}

}  // namespace zorvane

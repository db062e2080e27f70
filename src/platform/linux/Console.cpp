#include "platform/Console.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdio>

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

iovec span(std::string_view text) noexcept { return {const_cast<char*>(text.data()), text.size()}; }

}  // namespace

void writeConsoleLine(std::string_view text, std::string_view more, std::string_view rest) noexcept {
  std::array<char, 128> prefix{};
  const std::size_t length = writePrefix(prefix);
  const std::array parts{span({prefix.data(), length}), span(text), span(more), span(rest), span("\n")};
  const PipeSignalHeldBack quiet;
  // A log that can't be written has nobody left to tell.
  [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, parts.data(), static_cast<int>(parts.size()));
}

}  // namespace zorvane

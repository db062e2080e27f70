#include "collector/base/Log.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

#include "collector/base/Json.h"
#include "collector/base/Text.h"
#include "collector/base/Time.h"

namespace collector {

namespace {

constexpr std::size_t kMostWaiting = std::size_t{1} << 20U;
constexpr int kPatienceMs = 200;

std::string lineOf(Log::Form form, std::string_view message) {
  const std::string now = utcText(std::chrono::system_clock::now());
  return form == Log::Form::json ? fmt::format(R"({{"time":"{}","message":{}}})", now, quotedJson(printable(message)))
                                 : fmt::format("{} {}", now, printable(message));
}

}  // namespace

Log::Log(int descriptor, Form form) : descriptor_(descriptor), form_(form), thread_([this] { run(); }) {}

Log::~Log() {
  {
    const std::scoped_lock lock(guard_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Log::write(std::string_view message) { writeLine(lineOf(form_, message)); }

void Log::writeLine(std::string_view line) {
  const std::scoped_lock lock(guard_);
  if (waiting_.size() + line.size() > kMostWaiting) {
    ++lost_;
    return;
  }
  if (lost_ > reported_)
    waiting_.append(lineOf(form_, fmt::format("{} lines of the log were lost", lost_ - reported_))).push_back('\n');
  reported_ = lost_;
  waiting_.append(line).push_back('\n');
  changed_.notify_one();
}

std::int64_t Log::lost() {
  const std::scoped_lock lock(guard_);
  return lost_;
}

void Log::run() {
  for (;;) {
    std::string text;
    {
      std::unique_lock lock(guard_);
      changed_.wait(lock, [this] { return !waiting_.empty() || ending_; });
      if (waiting_.empty()) return;
      text = std::exchange(waiting_, {});
    }
    put(text);
  }
}

// So much at a time as a pipe takes whole once there is room in it: more would block, and the end with it.
void Log::put(std::string_view text) {
  while (!text.empty()) {
    pollfd room{descriptor_, POLLOUT, 0};
    if (::poll(&room, 1, kPatienceMs) == 0) {
      if (isEnding()) return;
      continue;
    }
    const auto written = ::write(descriptor_, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written < 0 && errno != EINTR && errno != EAGAIN) return lose(text);
    text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
  }
}

void Log::lose(std::string_view text) {
  const std::scoped_lock lock(guard_);
  lost_ += std::ranges::count(text, '\n');
}

bool Log::isEnding() {
  const std::scoped_lock lock(guard_);
  return ending_;
}

}  // namespace collector

#include "crowd/Run.h"

#include <algorithm>
#include <csignal>
#include <thread>
#include <utility>

namespace crowd {

namespace {

constexpr std::size_t kMostFailures = 20;
constexpr auto kLook = std::chrono::milliseconds(50);

std::atomic<Run*> caughtFor{nullptr};
static_assert(std::atomic<Run*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void stopCaught(int) {
  if (Run* const run = caughtFor.load()) run->stop();
}

}  // namespace

void Run::fail(std::string reason) {
  const std::scoped_lock lock(guard_);
  failed_ = true;
  stopping_ = true;
  const bool known = std::find(failures_.begin(), failures_.end(), reason) != failures_.end();
  if (!known && failures_.size() < kMostFailures) failures_.push_back(std::move(reason));
}

std::vector<std::string> Run::failures() const {
  const std::scoped_lock lock(guard_);
  return failures_;
}

bool Run::waitUntil(std::chrono::steady_clock::time_point time) const {
  for (auto now = std::chrono::steady_clock::now(); now < time; now = std::chrono::steady_clock::now()) {
    if (stopping_) return false;
    std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(kLook, time - now));
  }
  return !stopping_;
}

// The second signal ends the process as usual.
void Run::catchSignals() {
  caughtFor = this;
  struct sigaction action {};
  action.sa_handler = stopCaught;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

}  // namespace crowd

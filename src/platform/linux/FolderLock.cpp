#include "platform/FolderLock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <thread>

namespace zorvane {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr auto kBetweenTries = milliseconds(20);

// Those that are open: the folder's own lock and one more.
constinit std::array<std::atomic<int>, 2> held{-1, -1};

// The lock belongs to the open file, which a child shares with its parent: it would hold it as long as it lives.
void leaveToTheParent() {
  for (auto& descriptor : held)
    if (const int mine = descriptor.exchange(-1); mine >= 0) close(mine);
}

int openLocked(const std::string& folder, const std::string& file) {
  [[maybe_unused]] static const int registered = pthread_atfork(nullptr, nullptr, leaveToTheParent);
  const int descriptor = file.empty() ? open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                                      : open((folder + "/" + file).c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
  for (auto& place : held)
    if (int none = -1; place.compare_exchange_strong(none, descriptor)) break;
  return descriptor;
}

}  // namespace

FolderLock::FolderLock(const std::string& folder, const std::string& file) : descriptor_(openLocked(folder, file)) {}

FolderLock::~FolderLock() {
  if (descriptor_ < 0) return;
  for (auto& place : held)
    if (int mine = descriptor_; place.compare_exchange_strong(mine, -1)) break;
  close(descriptor_);
}

FolderLock::Outcome FolderLock::share(milliseconds limit) { return take(LOCK_SH, limit); }
FolderLock::Outcome FolderLock::takeAlone(milliseconds limit) { return take(LOCK_EX, limit); }

FolderLock::Outcome FolderLock::take(int kind, milliseconds limit) {
  if (descriptor_ < 0) return Outcome::impossible;
  flock(descriptor_, LOCK_UN);  // two that share it would wait for each other
  const auto end = steady_clock::now() + limit;
  while (flock(descriptor_, kind | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return Outcome::impossible;
    if (steady_clock::now() >= end) return Outcome::busy;
    std::this_thread::sleep_for(kBetweenTries);
  }
  return Outcome::held;
}

}  // namespace zorvane

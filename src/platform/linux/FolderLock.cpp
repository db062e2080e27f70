#include "platform/FolderLock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

namespace zorvane {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr auto kBetweenTries = milliseconds(20);

constinit std::atomic<int> latest{-1};

// The lock belongs to the open folder, which a child shares with its parent: it would hold it as long as it lives.
void leaveToTheParent() { close(latest.exchange(-1)); }

int openFolder(const std::string& folder) {
  [[maybe_unused]] static const int registered = pthread_atfork(nullptr, nullptr, leaveToTheParent);
  latest = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return latest;
}

}  // namespace

FolderLock::FolderLock(const std::string& folder) : folder_(openFolder(folder)) {}

FolderLock::~FolderLock() {
  int mine = folder_;
  latest.compare_exchange_strong(mine, -1);
  if (folder_ >= 0) close(folder_);
}

FolderLock::Outcome FolderLock::share(milliseconds limit) { return take(LOCK_SH, limit); }
FolderLock::Outcome FolderLock::takeAlone(milliseconds limit) { return take(LOCK_EX, limit); }

FolderLock::Outcome FolderLock::take(int kind, milliseconds limit) {
  if (folder_ < 0) return Outcome::impossible;
  flock(folder_, LOCK_UN);  // two that share it would wait for each other
  const auto end = steady_clock::now() + limit;
  while (flock(folder_, kind | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return Outcome::impossible;
    if (steady_clock::now() >= end) return Outcome::busy;
    std::this_thread::sleep_for(kBetweenTries);
  }
  return Outcome::held;
}

}  // namespace zorvane

#include "platform/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {
constexpr auto kBetweenTries = milliseconds(20);
}  // namespace

FolderLock::FolderLock(const std::string& folder) : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

FolderLock::~FolderLock() {
  if (folder_ >= 0) close(folder_);
}

bool FolderLock::share(milliseconds limit) { return take(LOCK_SH, limit); }
bool FolderLock::takeAlone(milliseconds limit) { return take(LOCK_EX, limit); }

bool FolderLock::take(int kind, milliseconds limit) {
  if (folder_ < 0) return false;
  flock(folder_, LOCK_UN);  // two that share it would wait for each other
  const auto end = steady_clock::now() + limit;
  while (flock(folder_, kind | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(kBetweenTries);
  }
  return true;
}

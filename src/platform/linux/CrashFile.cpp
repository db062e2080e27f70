#include "platform/CrashFile.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string_view>
#include <utility>

#include "platform/linux/FileDescriptor.h"

namespace zorvane {

namespace {

constexpr int kMostFiles = 8;
constexpr int kMostAttempts = 8;
constexpr std::size_t kMostBytes = std::size_t{256} * 1024;

// The process's own file. Written while nothing has crashed, read in signal handlers.
constinit std::atomic<int> own{-1};
constinit std::atomic<dev_t> ownDevice{0};
constinit std::atomic<ino_t> ownNumber{0};

std::string* ownPath = nullptr;  // of the thread that prepares, then of the exit

std::string pathOf(const std::string& directory, int index) { return directory + "/crash_" + std::to_string(index); }

// Opened and held; invalid when somebody holds it, or when it is no file of ours.
FileDescriptor hold(const std::string& path, int flags) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    FileDescriptor file(open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | flags, 0600));
    struct stat state {};
    if (!file.valid() || flock(file.get(), LOCK_EX | LOCK_NB) != 0 || fstat(file.get(), &state) != 0 ||
        !S_ISREG(state.st_mode))
      return FileDescriptor();
    if (state.st_nlink > 0) return file;  // else its former owner removed it between the opening and the lock
  }
  return FileDescriptor();
}

bool isEmpty(const FileDescriptor& file) {
  struct stat state {};
  return fstat(file.get(), &state) == 0 && state.st_size == 0;
}

void adopt(FileDescriptor file, std::string path) {
  struct stat state {};
  fstat(file.get(), &state);
  ownDevice = state.st_dev;
  ownNumber = state.st_ino;
  ownPath = new std::string(std::move(path));  // never freed: games crash while they leave
  own = file.release();
  // A child must neither hold what its parent holds nor remove it.
  [[maybe_unused]] static const int registered = pthread_atfork(nullptr, nullptr, [] { close(own.exchange(-1)); });
}

// False as well for a descriptor that the game has closed, which may be another file's by now.
bool isOwn(int file) noexcept {
  struct stat state {};
  return file >= 0 && fstat(file, &state) == 0 && state.st_dev == ownDevice && state.st_ino == ownNumber;
}

// After the exit handlers, the statics' destructors included.
__attribute__((destructor)) void removeOwn() {
  const int file = own.exchange(-1);
  struct stat state {};
  if (isOwn(file) && fstat(file, &state) == 0 && state.st_size == 0) unlink(ownPath->c_str());
}

class HeldFile final : public LeftCrashFile {
 public:
  HeldFile(FileDescriptor file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}

  std::string text() const override { return readUpTo(file_.get(), kMostBytes).value_or(""); }

  void remove() noexcept override {
    [[maybe_unused]] const int emptied = ftruncate(file_.get(), 0);  // in a directory that keeps its entries
    unlink(path_.c_str());
  }

 private:
  FileDescriptor file_;
  std::string path_;
};

}  // namespace

bool prepareCrashFile(const std::string& directory) {
  if (own >= 0) return true;
  for (int index = 0; index < kMostFiles; ++index) {
    const std::string path = pathOf(directory, index);
    FileDescriptor file = hold(path, O_CREAT);
    if (!file.valid() || !isEmpty(file)) continue;
    adopt(std::move(file), path);
    return true;
  }
  return false;
}

bool beginCrashFile() noexcept {
  emptyCrashFile();
  return isOwn(own);
}

void appendToCrashFile(std::string_view text) noexcept {
  const int file = own;
  if (isOwn(file)) writeAll(file, text);
}

void emptyCrashFile() noexcept {
  const int file = own;
  if (isOwn(file)) [[maybe_unused]]
    const int emptied = ftruncate(file, 0);
}

std::vector<std::unique_ptr<LeftCrashFile>> crashFilesLeftIn(const std::string& directory) {
  std::vector<std::unique_ptr<LeftCrashFile>> left;
  for (int index = 0; index < kMostFiles; ++index) {
    const std::string path = pathOf(directory, index);
    FileDescriptor file = hold(path, 0);
    if (!file.valid()) continue;
    if (isEmpty(file)) unlink(path.c_str());
    else left.push_back(std::make_unique<HeldFile>(std::move(file), path));
  }
  return left;
}

}  // namespace zorvane

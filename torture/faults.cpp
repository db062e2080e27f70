// Loaded before a program: wraps the system calls by which SQLite and the library open, look at, read, write, map,
// lock, rename and remove files of one folder, counts them, and dies or fails at one of them. The trace says which call
// each number was.
//
//   TORTURE_FOLDER  the folder
//   TORTURE_TRACE   a file that gets a line a call: "NUMBER CALL FILE"
//   TORTURE_AT      the call that is met, counted from 1; 0: none
//   TORTURE_HOW     "die": before the call. "torn": half of a write, then death. "short": half of a read or write.
//                   A number: the call fails with that errno
//   TORTURE_STAYS   if set, all later ones are met as well, but for locks, which cost SQLite 10 s each
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <string>

// The C library has several of these under two names.
#define WRAPPED extern "C" __attribute__((visibility("default")))

namespace {

enum class How { pass, die, torn, shortened, fail };

struct Orders {
  std::string folder;
  int trace = -1;
  long at = 0;
  How how = How::pass;
  int error = 0;
  bool stays = false;
};

Orders readOrders() {
  const auto text = [](const char* name) { return std::string(getenv(name) != nullptr ? getenv(name) : ""); };
  Orders orders{.folder = text("TORTURE_FOLDER"), .at = atol(text("TORTURE_AT").c_str())};
  orders.stays = getenv("TORTURE_STAYS") != nullptr;
  if (const std::string file = text("TORTURE_TRACE"); !file.empty())
    orders.trace = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
  const std::string how = text("TORTURE_HOW");
  if (how == "die") orders.how = How::die;
  else if (how == "torn") orders.how = How::torn;
  else if (how == "short") orders.how = How::shortened;
  else if (!how.empty()) orders.how = How::fail;
  orders.error = atoi(how.c_str());
  return orders;
}

const Orders& orders() {
  static const Orders* const read = new Orders(readOrders());
  return *read;
}

constexpr int kDescriptors = 4096;
std::mutex guard;
std::array<std::string, kDescriptors> names;  // guarded by guard; of the folder's files by descriptor, "" for others
std::atomic<long> calls{0};

// The name below the folder, "." for itself; "" for what lies elsewhere.
std::string nameOf(const char* path) {
  const std::string& folder = orders().folder;
  if (folder.empty() || path == nullptr || strncmp(path, folder.c_str(), folder.size()) != 0) return "";
  const char* const rest = path + folder.size();
  if (*rest == '\0') return ".";
  return *rest == '/' ? rest + 1 : "";
}

std::string nameOf(int file) {
  if (file < 0 || file >= kDescriptors) return "";
  const std::scoped_lock lock(guard);
  return names[static_cast<std::size_t>(file)];
}

int watch(int file, const std::string& name) {
  if (file < 0 || file >= kDescriptors) return file;
  const std::scoped_lock lock(guard);
  names[static_cast<std::size_t>(file)] = name;
  return file;
}

[[noreturn]] void die() {
  for (;;) kill(getpid(), SIGKILL);
}

// What is to become of a call; it dies here if it is to die. errno is set where it is to fail.
How meet(const char* call, const std::string& name) {
  if (name.empty()) return How::pass;
  const long number = ++calls;
  const std::string line = std::to_string(number) + ' ' + call + ' ' + name + '\n';
  if (orders().trace >= 0) syscall(SYS_write, orders().trace, line.data(), line.size());
  const bool later = orders().stays && number > orders().at && strcmp(call, "lock") != 0;
  const bool met = orders().at > 0 && (number == orders().at || later);
  if (!met) return How::pass;
  if (orders().how == How::die) die();
  if (orders().how == How::fail) errno = orders().error;
  return orders().how;
}

bool fails(const char* call, const std::string& name) { return meet(call, name) == How::fail; }

int openAt(int folder, const char* path, int flags, mode_t mode) {
  const std::string name = nameOf(path);
  if (fails("open", name)) return -1;
  return watch(static_cast<int>(syscall(SYS_openat, folder, path, flags, mode)), name);
}

mode_t modeOf(int flags, va_list rest) { return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0; }

// `transfer` moves up to so many bytes.
template <class Transfer>
ssize_t move(const char* call, int file, size_t size, Transfer transfer) {
  switch (meet(call, nameOf(file))) {
    case How::fail: return -1;
    case How::torn: transfer(size / 2); die();
    case How::shortened: return transfer(size > 1 ? size / 2 : size);
    default: return transfer(size);
  }
}

void* map(void* address, size_t size, int protection, int flags, int file, off_t at) {
  if (fails("mmap", nameOf(file))) return MAP_FAILED;
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, size, protection, flags, file, at));
}

// Taking a lock may fail; giving one back never does.
int control(int file, int command, void* argument) {
  const bool locks = command == F_SETLK || command == F_SETLKW || command == F_GETLK;
  const bool unlocks = command == F_SETLK && static_cast<const struct flock*>(argument)->l_type == F_UNLCK;
  const How how = locks ? meet(unlocks ? "unlock" : "lock", nameOf(file)) : How::pass;
  if (how == How::fail && !unlocks) return -1;
  return static_cast<int>(syscall(SYS_fcntl, file, command, argument));
}

int look(const char* call, const char* path, struct stat* found, int flags) {
  if (fails(call, nameOf(path))) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, found, flags));
}

int onPath(const char* call, const char* path, long (*wanted)(const char* path, long more), long more) {
  if (fails(call, nameOf(path))) return -1;
  return static_cast<int>(wanted(path, more));
}

int temporary(char* pattern, int flags) {
  static std::atomic<unsigned> counter{0};
  char* const end = pattern + strlen(pattern) - 6;
  snprintf(end, 7, "%06x", ((static_cast<unsigned>(getpid()) << 8U) + ++counter) & 0xFFFFFFU);
  return openAt(AT_FDCWD, pattern, O_RDWR | O_CREAT | O_EXCL | flags, 0600);
}

}  // namespace

#define OPEN(name)                                     \
  WRAPPED int name(const char* path, int flags, ...) { \
    va_list rest;                                      \
    va_start(rest, flags);                             \
    const mode_t mode = modeOf(flags, rest);           \
    va_end(rest);                                      \
    return openAt(AT_FDCWD, path, flags, mode);        \
  }
OPEN(open)
OPEN(open64)
#undef OPEN

#define OPENAT(name)                                               \
  WRAPPED int name(int folder, const char* path, int flags, ...) { \
    va_list rest;                                                  \
    va_start(rest, flags);                                         \
    const mode_t mode = modeOf(flags, rest);                       \
    va_end(rest);                                                  \
    return openAt(folder, path, flags, mode);                      \
  }
OPENAT(openat)
OPENAT(openat64)
#undef OPENAT

#define FCNTL(name)                              \
  WRAPPED int name(int file, int command, ...) { \
    va_list rest;                                \
    va_start(rest, command);                     \
    void* const argument = va_arg(rest, void*);  \
    va_end(rest);                                \
    return control(file, command, argument);     \
  }
FCNTL(fcntl)
FCNTL(fcntl64)
#undef FCNTL

WRAPPED int close(int file) {
  watch(file, "");
  return static_cast<int>(syscall(SYS_close, file));
}

WRAPPED ssize_t read(int file, void* bytes, size_t size) {
  return move("read", file, size, [&](size_t part) { return syscall(SYS_read, file, bytes, part); });
}
WRAPPED ssize_t write(int file, const void* bytes, size_t size) {
  return move("write", file, size, [&](size_t part) { return syscall(SYS_write, file, bytes, part); });
}
WRAPPED ssize_t pread(int file, void* bytes, size_t size, off_t at) {
  return move("pread", file, size, [&](size_t part) { return syscall(SYS_pread64, file, bytes, part, at); });
}
WRAPPED ssize_t pread64(int file, void* bytes, size_t size, off64_t at) { return pread(file, bytes, size, at); }
WRAPPED ssize_t pwrite(int file, const void* bytes, size_t size, off_t at) {
  return move("pwrite", file, size, [&](size_t part) { return syscall(SYS_pwrite64, file, bytes, part, at); });
}
WRAPPED ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t at) { return pwrite(file, bytes, size, at); }

WRAPPED int ftruncate(int file, off_t size) noexcept {
  return fails("ftruncate", nameOf(file)) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}
WRAPPED int ftruncate64(int file, off64_t size) noexcept { return ftruncate(file, size); }
WRAPPED int fsync(int file) { return fails("fsync", nameOf(file)) ? -1 : static_cast<int>(syscall(SYS_fsync, file)); }
WRAPPED int fdatasync(int file) {
  return fails("fdatasync", nameOf(file)) ? -1 : static_cast<int>(syscall(SYS_fdatasync, file));
}
WRAPPED int fstat(int file, struct stat* found) noexcept {
  return fails("fstat", nameOf(file)) ? -1 : static_cast<int>(syscall(SYS_fstat, file, found));
}
WRAPPED int fstat64(int file, struct stat64* found) noexcept {
  return fails("fstat", nameOf(file)) ? -1 : static_cast<int>(syscall(SYS_fstat, file, found));
}

WRAPPED void* mmap(void* address, size_t size, int protection, int flags, int file, off_t at) noexcept {
  return map(address, size, protection, flags, file, at);
}
WRAPPED void* mmap64(void* address, size_t size, int protection, int flags, int file, off64_t at) noexcept {
  return map(address, size, protection, flags, file, at);
}

WRAPPED int stat(const char* path, struct stat* found) noexcept { return look("stat", path, found, 0); }
WRAPPED int stat64(const char* path, struct stat64* found) noexcept {
  return look("stat", path, reinterpret_cast<struct stat*>(found), 0);
}
WRAPPED int lstat(const char* path, struct stat* found) noexcept {
  return look("lstat", path, found, AT_SYMLINK_NOFOLLOW);
}
WRAPPED int lstat64(const char* path, struct stat64* found) noexcept {
  return look("lstat", path, reinterpret_cast<struct stat*>(found), AT_SYMLINK_NOFOLLOW);
}
WRAPPED int access(const char* path, int how) noexcept {
  return onPath(
      "access", path, [](const char* p, long more) { return syscall(SYS_faccessat, AT_FDCWD, p, more); }, how);
}
WRAPPED int unlink(const char* path) noexcept {
  return onPath(
      "unlink", path, [](const char* p, long more) { return syscall(SYS_unlinkat, AT_FDCWD, p, more); }, 0);
}
WRAPPED int mkdir(const char* path, mode_t mode) noexcept {
  return onPath(
      "mkdir", path, [](const char* p, long more) { return syscall(SYS_mkdirat, AT_FDCWD, p, more); }, mode);
}
WRAPPED int rename(const char* from, const char* to) noexcept {
  if (fails("rename", nameOf(to))) return -1;
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
WRAPPED int mkostemp(char* pattern, int flags) { return temporary(pattern, flags); }
WRAPPED int mkostemp64(char* pattern, int flags) { return temporary(pattern, flags); }

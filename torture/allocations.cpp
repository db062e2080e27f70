// Loaded before a program: makes allocations of the library fail. Counted are those of every thread but the main one,
// and of the main one while torture_inside_library(true) holds.
//
//   TORTURE_AT     the allocation that fails, counted from 1; 0: none
//   TORTURE_STAYS  if set, all later ones fail as well
//   TORTURE_TRACE  a file that gets the count when the process exits
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

constinit std::atomic<long> taken{0};
constinit long failing = 0;
constinit bool stays = false;
constinit thread_local bool inside = false;

bool isWatched() { return inside || syscall(SYS_gettid) != getpid(); }

bool fails() {
  if (!isWatched()) return false;
  const long number = ++taken;
  if (failing == 0 || number < failing || (number > failing && !stays)) return false;
  errno = ENOMEM;
  return true;
}

__attribute__((constructor)) void readOrders() {
  if (const char* at = getenv("TORTURE_AT")) failing = atol(at);
  stays = getenv("TORTURE_STAYS") != nullptr;
}

__attribute__((destructor)) void leaveCount() {
  const char* const file = getenv("TORTURE_TRACE");
  const int trace = file != nullptr ? open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600) : -1;
  if (trace < 0) return;
  dprintf(trace, "%ld\n", taken.load());
  close(trace);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void torture_inside_library(bool now) { inside = now; }

__attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept {
  return fails() ? nullptr : __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_realloc(memory, size);
}
__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}
__attribute__((visibility("default"))) int posix_memalign(void** memory, std::size_t alignment,
                                                          std::size_t size) noexcept {
  if (fails()) return ENOMEM;
  *memory = __libc_memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

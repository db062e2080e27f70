// The kernel's list has a line a mapping: "7f0c8a000000-7f0c8a028000 r-xp 00000000 08:01 131 /usr/lib/libc.so.6".
#include "platform/Modules.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "platform/linux/FileDescriptor.h"

namespace zorvane {

namespace {

constexpr int kFieldsBeforePath = 5;

// Lines of a file, read in pieces into room of its own. One that is longer than the room is left out.
class Lines {
 public:
  explicit Lines(int file) noexcept : file_(file) {}

  // The next line, with a null byte in place of its end; empty: no more.
  std::string_view next() noexcept {
    for (;;) {
      if (const void* const end = std::memchr(room_.data() + begin_, '\n', end_ - begin_)) {
        const std::size_t at = begin_;
        begin_ = static_cast<std::size_t>(static_cast<const char*>(end) - room_.data()) + 1;
        room_[begin_ - 1] = '\0';
        return {room_.data() + at, begin_ - 1 - at};
      }
      if (!fill()) return {};
    }
  }

 private:
  bool fill() noexcept {
    if (begin_ == 0 && end_ == room_.size()) end_ = 0;  // longer than the room: its rest is no mapping
    std::memmove(room_.data(), room_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    ssize_t count = 0;
    do count = read(file_, room_.data() + end_, room_.size() - end_);
    while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    end_ += static_cast<std::size_t>(count);
    return true;
  }

  int file_;
  std::array<char, PATH_MAX + 256> room_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

std::uintptr_t hexadecimal(std::string_view text) noexcept {
  std::uintptr_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return number;
}

// Empty: the line has no file's path.
std::string_view pathOf(std::string_view line) noexcept {
  for (int field = 0; field < kFieldsBeforePath; ++field) {
    const std::size_t end = line.find(' ');
    if (end == std::string_view::npos) return {};
    line.remove_prefix(end);
    const std::size_t next = line.find_first_not_of(' ');
    if (next == std::string_view::npos) return {};
    line.remove_prefix(next);
  }
  return line.front() == '/' ? line : std::string_view();
}

// Remembers of which file the mappings before were, to tell a file's first piece from the next ones.
struct LatestFile {
  std::array<char, PATH_MAX> path;
  std::size_t length = 0;
  std::uintptr_t base = 0;

  std::uintptr_t baseOf(std::string_view file, std::uintptr_t begin) noexcept {
    if (file == std::string_view(path.data(), length)) return base;
    length = file.copy(path.data(), path.size());
    return base = begin;
  }
};

}  // namespace

void visitModules(ModuleVisitor visit, void* context) noexcept {
  const FileDescriptor file(open("/proc/self/maps", O_RDONLY | O_CLOEXEC));
  if (!file.valid()) return;
  Lines lines(file.get());
  LatestFile latest;
  for (std::string_view line = lines.next(); !line.empty(); line = lines.next()) {
    const std::string_view path = pathOf(line);
    const std::size_t dash = line.find('-');
    if (path.empty() || dash == std::string_view::npos) continue;
    const std::uintptr_t begin = hexadecimal(line);
    visit({begin, hexadecimal(line.substr(dash + 1)), latest.baseOf(path, begin), path}, context);
  }
}

std::int64_t moduleWrittenAt(const char* path) noexcept {
  constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
  struct stat file {};
  if (stat(path, &file) != 0) return 0;
  return file.st_mtim.tv_sec * kNanosecondsPerSecond + file.st_mtim.tv_nsec;
}

}  // namespace zorvane

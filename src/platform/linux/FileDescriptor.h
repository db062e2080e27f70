// A file descriptor that closes itself, and reading and writing whole texts through one.
//
// Thread: a plain value, owned by one thread at a time. The functions: any.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zorvane {

class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor = -1) noexcept : descriptor_(descriptor) {}
  ~FileDescriptor() {
    if (valid()) close(descriptor_);
  }
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }

  [[nodiscard]] bool valid() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int get() const noexcept { return descriptor_; }
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

// The first `most` bytes of a file that can be positioned, from its beginning; absent when it can't be read.
std::optional<std::string> readUpTo(int file, std::size_t most);
// False when not all of it could be written. In a signal handler, too.
bool writeAll(int file, std::string_view text) noexcept;

}  // namespace zorvane

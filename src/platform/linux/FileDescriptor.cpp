#include "platform/linux/FileDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace zorvane {

std::optional<std::string> readUpTo(int file, std::size_t most) {
  std::string content;
  std::array<char, 4096> piece{};
  while (content.size() < most) {
    const std::size_t wanted = std::min(piece.size(), most - content.size());
    const ssize_t count = pread(file, piece.data(), wanted, static_cast<off_t>(content.size()));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    content.append(piece.data(), static_cast<std::size_t>(count));
  }
  return content;
}

bool writeAll(int file, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace zorvane

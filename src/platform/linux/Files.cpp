#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/linux/FileDescriptor.h"

namespace zorvane {

namespace {

bool isRegular(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

std::optional<std::string> readRegularFile(const std::string& path, std::size_t mostBytes) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.valid() || !isRegular(file.get())) return std::nullopt;
  std::string content;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t count = read(file.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return content;
    content.append(buffer.data(), static_cast<std::size_t>(count));
    if (content.size() > mostBytes) return std::nullopt;  // whatever its size was said to be
  }
}

}  // namespace zorvane

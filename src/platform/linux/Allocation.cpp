#include "platform/Allocation.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/linux/FileDescriptor.h"

namespace zorvane {

bool allocateFile(const std::string& path, std::int64_t bytes) noexcept {
  const FileDescriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!file.valid()) return false;
  if (posix_fallocate(file.get(), 0, bytes) == 0) return true;
  unlink(path.c_str());
  return false;
}

}  // namespace zorvane

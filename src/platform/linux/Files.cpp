#include "platform/Files.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/linux/FileDescriptor.h"

namespace zorvane {

namespace {

bool isRegular(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

bool fill(int file, std::string_view content, Durability durability) {
  return file >= 0 && writeAll(file, content) && (durability == Durability::none || fsync(file) == 0);
}

bool flushDirectory(const std::string& path) {
  const FileDescriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory.valid() && fsync(directory.get()) == 0;
}

}  // namespace

std::optional<std::string> readRegularFile(const std::string& path, std::size_t mostBytes) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.valid() || !isRegular(file.get())) return std::nullopt;
  auto content = readUpTo(file.get(), mostBytes + 1);  // a size that was asked for before may have changed
  return content && content->size() <= mostBytes ? content : std::nullopt;
}

bool isNothingThere(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

bool replaceFile(const std::string& path, std::string_view content, Durability durability) {
  const std::string directory = std::filesystem::path(path).parent_path().string();
  makeDirectories(directory);
  std::string temporary = path + ".XXXXXX";  // a name of its own: another process of the game may write as well
  const FileDescriptor file(mkostemp(temporary.data(), O_CLOEXEC));  // mode 0600
  if (fill(file.get(), content, durability) && std::rename(temporary.c_str(), path.c_str()) == 0)
    return durability == Durability::none || flushDirectory(directory);
  if (file.valid()) unlink(temporary.c_str());
  return false;
}

void makeDirectories(const std::string& path) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    mkdir(path.substr(0, end).c_str(), S_IRWXU);
  }
}

}  // namespace zorvane

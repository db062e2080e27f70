// A lock on a folder: the processes that work in it share it, and one of them can have it alone. A process has at most
// two at a time.
//
// Thread:   owned by one thread at a time.
// Lifetime: given up by the destructor, and by the end of the process however it comes.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zorvane {

class FolderLock {
 public:
  // `file`: not the folder's own lock but another one, which is that file's in it.
  explicit FolderLock(const std::string& folder, const std::string& file = {});
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  enum class Outcome : std::uint8_t {
    held,
    busy,        // others were in the way until `limit`
    impossible,  // the folder can't be locked: a network file system, say
  };
  // Either takes the place of what was held before, if it can't be had as well. A child made by fork() holds nothing.
  Outcome share(std::chrono::milliseconds limit);
  Outcome takeAlone(std::chrono::milliseconds limit);

 private:
  Outcome take(int kind, std::chrono::milliseconds limit);

  const int descriptor_;  // -1 when there is none
};

}  // namespace zorvane

// A lock on a folder: the processes that work in it share it, and one of them can have it alone.
//
// Thread:   owned by one thread at a time.
// Lifetime: given up by the destructor, and by the end of the process however it comes.
#pragma once

#include <chrono>
#include <string>

class FolderLock {
 public:
  explicit FolderLock(const std::string& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  // Either takes the place of what was held before. False, and nothing is held: others were in the way until `limit`,
  // or the folder can't be locked.
  bool share(std::chrono::milliseconds limit);
  bool takeAlone(std::chrono::milliseconds limit);

 private:
  bool take(int kind, std::chrono::milliseconds limit);

  const int folder_;  // descriptor, -1 when there is none
};

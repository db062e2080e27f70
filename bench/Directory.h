// A directory of the bench's own below the working directory, removed with everything in it.
//
// Thread: any; the path never changes.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

class Directory {
 public:
  // Not in the system's temporary directory: that is memory on some machines, where nothing is written to disk.
  Directory() : path_((std::filesystem::current_path() / "bench.XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no data directory at " + path_);
  }
  ~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string file(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

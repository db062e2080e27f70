// A folder of the test's own, removed with everything in it.
//
// Thread:   any; the path never changes.
// Lifetime: from construction to destruction; files may still be open when it goes.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "zorvane.XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder at " + path_);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(TemporaryFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  TemporaryFolder& operator=(TemporaryFolder&&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string file(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

// A folder of the test's own, removed with everything in it.
//
// Thread:   any; the path never changes.
// Lifetime: from construction to destruction; files may still be open when it goes.
#pragma once

#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(TemporaryFolder&& other) noexcept;
  TemporaryFolder& operator=(TemporaryFolder&&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string file(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

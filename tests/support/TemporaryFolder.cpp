#include "support/TemporaryFolder.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

TemporaryFolder::TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "zorvane.XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder at " + path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

TemporaryFolder::TemporaryFolder(TemporaryFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}

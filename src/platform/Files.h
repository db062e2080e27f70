// Files that somebody else may have put there.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace zorvane {

// The content of a regular file of at most `mostBytes`. Absent for anything else: a pipe or a device is neither waited
// for nor read. Any thread.
std::optional<std::string> readRegularFile(const std::string& path, std::size_t mostBytes);

}  // namespace zorvane

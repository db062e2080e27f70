// Files that another program may have put there, and files that are replaced as a whole.
//
// Thread: any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zorvane {

// The content of a regular file of at most `mostBytes`. Absent for anything else: a pipe or a device is neither waited
// for nor read.
std::optional<std::string> readRegularFile(const std::string& path, std::size_t mostBytes);

// Nothing has that name. A link that leads nowhere does: what it leads to may be on a disk that is mounted later.
bool isNothingThere(const std::string& path);

enum class Durability : std::uint8_t {
  none,     // safe from a crash of the process
  flushed,  // safe from a crash of the machine
};
// Readers, and a crash at any moment, find the old file or the new one, never a part. The file is its owner's alone
// (mode 0600), and so are the folders that it needs and that are missing.
bool replaceFile(const std::string& path, std::string_view content, Durability durability);

void makeDirectories(const std::string& path);  // mode 0700; failures are silent

}  // namespace zorvane

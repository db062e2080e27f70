// Room on the disk.
//
// Thread: any.
#pragma once

#include <cstdint>
#include <string>

namespace zorvane {

// Makes a file of that size whose blocks are really there. False, and there is no such file, when the disk has too few.
bool allocateFile(const std::string& path, std::int64_t bytes) noexcept;

}  // namespace zorvane

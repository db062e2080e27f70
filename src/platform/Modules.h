// The files of which the process's code is made: program and libraries.
//
// Thread: any, in a signal handler too: system calls only, no heap and no lock. What is given to a visitor is valid
// during the call.
#pragma once

#include <cstdint>
#include <string_view>

namespace zorvane {

// A stretch of memory that shows a piece of a file.
struct ModuleMapping {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  std::uintptr_t base = 0;  // where the file's first piece begins: offsets from here are the same in every process
  std::string_view path;    // ends with a null byte
};
using ModuleVisitor = void (*)(const ModuleMapping& mapping, void* context);

// In ascending order. Without the kernel's list there are none.
void visitModules(ModuleVisitor visit, void* context) noexcept;

// When the file was written, in nanoseconds; 0 where there is none any more. Another time is another build.
std::int64_t moduleWrittenAt(const char* path) noexcept;

}  // namespace zorvane

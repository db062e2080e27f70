// What the kernel counts of this process.
//
// Thread: any.
#pragma once

#include <cstdint>
#include <optional>

double processorSeconds();                   // of all threads, user and system
std::int64_t voluntaryWaits();               // how often the calling thread gave up the processor by itself
std::optional<std::int64_t> bytesWritten();  // to the disk; absent where the kernel does not tell
std::int64_t voluntaryWaitsOfAll();          // the same of all threads together
std::int64_t residentBytes();                // with the code of libraries that others use as well
std::int64_t ownBytes();                     // resident and its own: heap, stacks, changed data

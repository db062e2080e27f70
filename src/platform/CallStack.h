// Where a thread is, for people to read.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace zorvane {

// What an address lies in; null where the modules do not tell.
struct FramePlace {
  const char* module = nullptr;  // its file
  const char* symbol = nullptr;  // the function
  const void* start = nullptr;   // of the function, else of the module
};

// A stack, innermost frame first. As plain data it needs no heap, so it may be filled in a signal handler.
struct CallStack {
  static constexpr std::size_t kMostFrames = 128;

  std::array<void*, kMostFrames> frames{};
  std::array<FramePlace, kMostFrames> places{};
  std::size_t count = 0;
};

// The first look at a stack loads a library: never in the middle of a crash, so it is made now. Any thread.
void prepareCallStack() noexcept;

// The calling thread's stack, without its places. Takes neither heap nor lock.
void captureFrames(CallStack& stack) noexcept;

// Adds the places. Takes no heap; waits while another thread loads a module.
void locateFrames(CallStack& stack) noexcept;

FramePlace placeOf(const void* frame) noexcept;

// "module(function+0x1a) [0x55d0c0de]": the function as its source has it, left out where the module does not tell.
// `shown`: the address in brackets, that of the process whose stack it was.
std::string describeFrame(const void* frame, const FramePlace& place, const void* shown);

// The name that a symbol has in its source; the symbol itself when it is no C++ name.
std::string demangled(const char* symbol);

}  // namespace zorvane

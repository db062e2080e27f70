// Where a thread is, for people to read.
#pragma once

#include <string>
#include <vector>

// The first look at a stack loads a library: never in the middle of a crash, so it is made now. Any thread.
void prepareCallStack() noexcept;

// The calling thread's stack, innermost frame first, at most 128 of them: "module(function+0x1a) [0x55d0c0de]". The
// function as its source has it, left out where the module does not tell.
std::vector<std::string> callStack();

// The name that a symbol has in its source; the symbol itself when it is no C++ name.
std::string demangled(const char* symbol);

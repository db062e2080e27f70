// What the program can do. Each returns the status to end with, and throws std::runtime_error with what is wrong.
//
// Thread: the main one.
#pragma once

#include <cstdio>
#include <string>

#include "collector/Options.h"

namespace collector {

int run(const Options& options);  // serves until a signal ends it
int run(const AddGame& command);
int run(const BackUp& command);
int run(const Erase& command);
inline int run(int status) { return status; }

// On standard error, where it can be written; the status.
inline int complain(const std::string& problem, int status) {
  std::fputs(("zorvane-collector: " + problem + '\n').c_str(), stderr);
  return status;
}

}  // namespace collector

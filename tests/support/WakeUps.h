// How often a thread of this process has been woken: the kernel's count of the times it gave up the processor by
// itself, which doesn't depend on how fast the machine is.
//
// Thread: the test's.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// Of all threads of that name, of which there is at least one.
inline long wakeUpsOf(const std::string& threadName) {
  long count = 0;
  const std::string begin = "Name:\t" + threadName + '\n';
  const std::string counter = "\nvoluntary_ctxt_switches:";
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ostringstream status;
    status << std::ifstream(thread.path() / "status").rdbuf();
    if (const std::string text = status.str(); text.starts_with(begin))
      count += std::stol(text.substr(text.find(counter) + counter.size()));
  }
  return count;
}

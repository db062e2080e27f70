// How often a thread of this process has been woken: the kernel's count of the times it gave up the processor by
// itself, which doesn't depend on how fast the machine is.
//
// Thread: the test's.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

// Of all threads of that name, of which there is at least one.
inline long wakeUpsOf(std::string_view threadName) {
  long count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(thread.path() / "status");
    std::string line;
    std::getline(status, line);  // "Name:", a tab, the name
    if (line.substr(line.find('\t') + 1) != threadName) continue;
    for (std::string word; status >> word;)
      if (long switches = 0; word == "voluntary_ctxt_switches:" && status >> switches) count += switches;
  }
  return count;
}

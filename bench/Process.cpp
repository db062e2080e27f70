#include "bench/Process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace {

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

std::int64_t voluntaryWaits() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

std::optional<std::int64_t> bytesWritten() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  std::int64_t count = 0;
  while (counters >> name >> count)
    if (name == "write_bytes:") return count;
  return std::nullopt;
}

std::int64_t voluntaryWaitsOfAll() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_nvcsw;
}

std::int64_t ownBytes() {
  std::ifstream status("/proc/self/status");
  std::string name;
  while (status >> name)
    if (std::int64_t kilobytes = 0; name == "RssAnon:" && status >> kilobytes) return kilobytes * 1024;
  return 0;
}

std::int64_t residentBytes() {
  std::ifstream pages("/proc/self/statm");
  std::int64_t size = 0;
  std::int64_t resident = 0;
  pages >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

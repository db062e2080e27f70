// The collector as a process of its own, with an archive in a directory of its own.
//
// Thread:   one.
// Lifetime: ends with the object; its directory goes with it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "bench/Directory.h"

class CollectorProcess {
 public:
  static constexpr const char* kGame = "0123456789abcdef0123456789abcdef";
  static constexpr const char* kSecret = "0123456789abcdef0123456789abcdef01234567";

  CollectorProcess();
  ~CollectorProcess();
  CollectorProcess(const CollectorProcess&) = delete;
  CollectorProcess& operator=(const CollectorProcess&) = delete;

  [[nodiscard]] const std::string& url() const { return url_; }
  [[nodiscard]] std::string archive() const { return directory_.file("archive.sqlite"); }
  [[nodiscard]] std::string fileFor(const std::string& name) const { return directory_.file(name); }
  [[nodiscard]] std::int64_t peakKilobytes() const;  // of its memory so far
  [[nodiscard]] double processorSeconds() const;     // so far

 private:
  Directory directory_;
  pid_t child_ = -1;
  std::string url_;
};

// A program of ours in a process of its own, for tests that kill, starve or outlive it.
//
// Thread:   the test's.
// Lifetime: the destructor kills what still runs.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

class ChildProcess {
 public:
  struct Limits {
    std::optional<unsigned long> fileSize;  // bytes; writes beyond it fail like those on a full disk
    std::optional<unsigned> user;           // in place of root, who may write everywhere
  };

  // Standard input is `input`; standard output and error go to files in `folder`.
  ChildProcess(const std::filesystem::path& folder, std::vector<std::string> command, const std::string& input = {},
               Limits limits = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  static constexpr int kRuns = -1000;
  // The status of a normal exit, the negative number of the signal that ended it, or kRuns when `limit` has passed.
  int wait(std::chrono::milliseconds limit = std::chrono::minutes(1));
  void kill(int signal) const;

  [[nodiscard]] std::string output() const;
  [[nodiscard]] std::string errors() const;
  // The first line of its output; "" when none has come by then.
  [[nodiscard]] std::string firstLine(std::chrono::milliseconds limit = std::chrono::minutes(1)) const;

 private:
  std::filesystem::path output_;
  std::filesystem::path errors_;
  pid_t pid_ = -1;
  int ending_ = kRuns;
};

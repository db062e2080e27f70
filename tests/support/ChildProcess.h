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

  struct Ending {
    std::optional<int> status;  // of a normal exit
    int signal = 0;             // that ended it
  };
  // Absent: it still runs when `limit` has passed.
  std::optional<Ending> wait(std::chrono::milliseconds limit = std::chrono::seconds(30));
  void kill(int signal) const;

  [[nodiscard]] std::string output() const;
  [[nodiscard]] std::string errors() const;
  // The first line of its output; "" when none has come by then.
  [[nodiscard]] std::string firstLine(std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

 private:
  std::filesystem::path output_;
  std::filesystem::path errors_;
  pid_t pid_ = -1;
  std::optional<Ending> ending_;
};

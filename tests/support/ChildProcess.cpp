#include "support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

constexpr auto kPoll = std::chrono::milliseconds(5);

std::string contentsOf(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

void redirect(const std::filesystem::path& file, int flags, int descriptor) {
  const int opened = open(file.c_str(), flags, 0600);
  if (opened < 0) _exit(126);
  dup2(opened, descriptor);
}

}  // namespace

ChildProcess::ChildProcess(const std::filesystem::path& folder, std::vector<std::string> command,
                           const std::string& input, Limits limits) {
  static std::atomic<int> count{0};
  const std::string stem = "child" + std::to_string(++count);
  output_ = folder / (stem + ".out");
  errors_ = folder / (stem + ".err");
  const std::filesystem::path inputFile = folder / (stem + ".in");
  std::ofstream(inputFile) << input;

  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ > 0) return;
  redirect(inputFile, O_RDONLY, STDIN_FILENO);
  redirect(output_, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
  redirect(errors_, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
  if (limits.fileSize) {
    const rlimit limit{*limits.fileSize, *limits.fileSize};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
  }
  if (limits.user && geteuid() == 0 && setresuid(*limits.user, *limits.user, *limits.user) != 0) _exit(126);
  execv(arguments[0], arguments.data());
  _exit(127);
}

ChildProcess::~ChildProcess() {
  if (ending_ != kRuns) return;
  kill(SIGKILL);
  wait();
}

int ChildProcess::wait(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (ending_ == kRuns && std::chrono::steady_clock::now() < deadline) {
    if (int status = 0; waitpid(pid_, &status, WNOHANG) == pid_)
      ending_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    else std::this_thread::sleep_for(kPoll);
  }
  return ending_;
}

void ChildProcess::kill(int signal) const { ::kill(pid_, signal); }

std::string ChildProcess::output() const { return contentsOf(output_); }
std::string ChildProcess::errors() const { return contentsOf(errors_); }

std::string ChildProcess::firstLine(std::chrono::milliseconds limit) const {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    const std::string text = output();
    if (const auto end = text.find('\n'); end != std::string::npos) return text.substr(0, end);
    std::this_thread::sleep_for(kPoll);
  }
  return "";
}

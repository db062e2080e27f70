#include "bench/CollectorProcess.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>

CollectorProcess::CollectorProcess() {
  std::array<int, 2> output{};
  if (pipe(output.data()) != 0) throw std::runtime_error("no pipe");
  const std::string file = archive(), game = fmt::format("{}:{}", kGame, kSecret);
  child_ = fork();
  if (child_ == 0) {
    dup2(output[1], STDOUT_FILENO);
    execl(ZORVANE_COLLECTOR, ZORVANE_COLLECTOR, "--port", "0", "--quiet", "--database", file.c_str(), "--game",
          game.c_str(), nullptr);
    _exit(127);
  }
  close(output[1]);
  std::array<char, 200> line{};
  FILE* const said = fdopen(output[0], "r");
  const bool read = said != nullptr && std::fgets(line.data(), line.size(), said) != nullptr;
  if (said != nullptr) std::fclose(said);
  const std::string text = line.data();
  const auto url = text.find("http");
  if (!read || url == std::string::npos) throw std::runtime_error("the collector does not listen: " + text);
  url_ = text.substr(url, text.find_last_not_of('\n') + 1 - url);
}

CollectorProcess::~CollectorProcess() {
  kill(child_, SIGTERM);
  waitpid(child_, nullptr, 0);
}

std::int64_t CollectorProcess::peakKilobytes() const {
  std::ifstream status(fmt::format("/proc/{}/status", child_));
  for (std::string word; status >> word;)
    if (std::int64_t kilobytes = 0; word == "VmHWM:" && status >> kilobytes) return kilobytes;
  return 0;
}

double CollectorProcess::processorSeconds() const {
  std::ifstream file(fmt::format("/proc/{}/stat", child_));
  std::string text;
  std::getline(file, text);
  std::array<unsigned long, 2> ticks{};
  if (std::sscanf(text.c_str() + text.rfind(')'), ") %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &ticks[0],
                  &ticks[1]) != 2)
    return 0;
  return static_cast<double>(ticks[0] + ticks[1]) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

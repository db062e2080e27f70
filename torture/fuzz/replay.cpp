// Runs a fuzzer without libFuzzer: on every seed, and on mutations of them that are the same each time.
//
//   replay_NAME SEEDS MUTATIONS
//
// An input that ends the process is left in the file replay_NAME.input.
#include <fcntl.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Fuzz.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

#define ZORVANE_SANITIZED 1
extern "C" void __sanitizer_set_death_callback(void (*callback)());
// What is undefined ends the process by a signal, so that its input is left.
extern "C" const char* __ubsan_default_options() { return "abort_on_error=1:print_stacktrace=1"; }
#endif

namespace {

std::string current;
std::string leftIn;

void leaveInput() {
  const int file = ::open(leftIn.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0 || ::write(file, current.data(), current.size()) < 0) return;
  fuzz::say("The input is in " + leftIn + "\n");
}

void prepare(const char* program) {
  leftIn = std::filesystem::path(program).filename().string() + ".input";
  for (const int deadly : {SIGABRT, SIGSEGV, SIGFPE, SIGILL, SIGBUS})
    std::signal(deadly, [](int number) {
      std::signal(number, SIG_DFL);
      leaveInput();
      std::raise(number);
    });
#ifdef ZORVANE_SANITIZED
  __sanitizer_set_death_callback(leaveInput);  // what the sanitizers report goes to standard error, so that stays open
#else
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(nowhere, STDERR_FILENO);
#endif
}

void run(std::string input) {
  current = std::move(input);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(current.data()), current.size());
}

std::vector<std::string> readSeeds(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  std::vector<std::string> seeds;
  for (const auto& file : files) {
    std::ifstream stream(file, std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  return seeds;
}

// Cuts, repeats, overwrites, and takes the end of another seed.
std::string mutated(std::string text, const std::vector<std::string>& seeds, std::mt19937_64& random) {
  const auto below = [&](std::size_t bound) { return bound == 0 ? 0 : static_cast<std::size_t>(random() % bound); };
  for (auto changes = 1 + below(4); changes > 0; --changes) {
    const auto at = below(text.size() + 1);
    const auto length = std::min<std::size_t>(below(16), text.size() - at);
    switch (below(6)) {
      case 0: text.erase(at, length); break;
      case 1: text.insert(at, std::string(text, at, length)); break;
      case 2: text.insert(at, 1, static_cast<char>(random())); break;
      case 3: text.replace(at, std::string::npos, std::string(seeds[below(seeds.size())], 0, 4096)); break;
      default:
        if (at < text.size()) text[at] = static_cast<char>(below(2) == 0 ? random() : text[at] ^ (1 << below(8)));
    }
  }
  return text;
}

}  // namespace

int main(int count, char** arguments) {
  fuzz::require(count == 3, "usage: replay_NAME SEEDS MUTATIONS");
  prepare(arguments[0]);
  const auto seeds = readSeeds(arguments[1]);
  fuzz::require(!seeds.empty(), "no seeds in", arguments[1]);
  for (const auto& seed : seeds) run(seed);
  std::mt19937_64 random(20'26);
  for (int left = std::stoi(arguments[2]); left > 0; --left)
    run(mutated(seeds[random() % seeds.size()], seeds, random));
  fuzz::say("ran " + std::to_string(seeds.size()) + " seeds and " + arguments[2] + " mutations\n");
  return 0;
}

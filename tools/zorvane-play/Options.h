// The command line of zorvane-play.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include <zorvane/ZVPlatform.h>

struct Options {
  std::string file;  // empty or "-": standard input
  std::optional<ZVCollectorEndpoint> collector;
  std::string dataDirectory;
  std::string caFile;
  std::optional<double> queueSeconds;
};

inline constexpr int kBadUsage = 2;

// The options; or the status to end with, once the help, the version or what is wrong is printed.
std::variant<Options, int> readOptions(int count, const char* const* arguments);

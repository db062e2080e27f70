// The command line.
#pragma once

#include <string>
#include <variant>

#include "collector/Collector.h"

namespace collector {

struct Options {
  std::string host = "127.0.0.1";
  int port = 8080;
  std::string tlsCertificate, tlsKey;
  Collector::Games games;
  std::string configsFile;
  std::string databaseFile = "zorvane-collector.sqlite";
  bool quiet = false;
};

inline constexpr int kBadUsage = 2;

// The options; or the status to end with, once the help, the version or what is wrong is printed.
std::variant<Options, int> readOptions(int count, const char* const* arguments);

}  // namespace collector

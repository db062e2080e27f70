// The command line.
#pragma once

#include <optional>
#include <string>

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
  bool help = false;
};

// Absent when the arguments don't make sense; `problem` then says why.
std::optional<Options> parseOptions(int count, const char* const* arguments, std::string& problem);
const char* helpText();

}  // namespace collector

// The command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <zorvane/ZVPlatform.h>

struct Options {
  bool help = false;
  std::optional<ZVCollectorEndpoint> collector;
  std::string dataDirectory;
  std::string caFile;
  std::string script;
  bool ticker = false;
};

inline constexpr const char* kUsage =
    "usage: zorvane-game [options]\n"
    "\n"
    "Coin Cave: take all coins, mind the bats, find the way out. It reports its play through Zorvane.\n"
    "\n"
    "  --collector URL   where events go: http[s]://HOST[:PORT]\n"
    "  --data-dir DIR    where the save file and waiting events lie\n"
    "  --ca-file FILE    an extra certificate authority, PEM\n"
    "  --script FILE     plays by itself, as fast as it can, what the file says\n"
    "  --ticker          shows what is reported, in a corner\n"
    "  --help            this text\n";

// Throws std::invalid_argument with what is wrong.
Options readOptions(const std::vector<std::string>& arguments);

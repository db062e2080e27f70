// The command line of zorvane-play.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <zorvane/ZVPlatform.h>

struct Options {
  bool help = false;
  std::string file;  // empty or "-": standard input
  std::optional<ZVCollectorEndpoint> collector;
  std::string dataDirectory;
  std::string caFile;
  std::optional<double> queueSeconds;
};

inline constexpr const char* kUsage =
    "usage: zorvane-play [options] [FILE]\n"
    "\n"
    "Plays a recorded game session through the library: one JSON array a line,\n"
    "  [\"addDesignEventWithEventId:value:\", \"level:boss\", 3.5]\n"
    "from FILE or standard input. Answers of queries go to standard output, log lines to standard error.\n"
    "\n"
    "  --collector URL      where init and events go: http[s]://HOST[:PORT]\n"
    "  --data-dir DIR       where the database lies\n"
    "  --ca-file FILE       an extra certificate authority, PEM\n"
    "  --queue-seconds S    the event queue's period, 8 by default\n"
    "\n"
    "Directives: [\"@platform\", {...}] before the first call, [\"@background\"], [\"@foreground\"],\n"
    "[\"@wait\", SECONDS], [\"@drain\"], [\"@submit\"], [\"@kill\"].\n";

// The options, or what is wrong with them.
std::variant<Options, std::string> readOptions(const std::vector<std::string>& arguments);

#include "zorvane-play/Options.h"

#include <fstream>
#include <string_view>

#include <zorvane/ZVVersion.h>
#include <CLI/CLI.hpp>

#include "codecs/ZVHelpers.h"

using namespace zorvane;

namespace {

constexpr double kMostQueueSeconds = 3600;

constexpr const char* kDescription =
    "Plays a recorded game session through the library: a JSON array a line,\n"
    "  [\"addDesignEventWithEventId:value:\", \"level:boss\", 3.5]\n"
    "Answers of queries go to standard output, log lines to standard error.";

constexpr const char* kDirectivesHelp =
    "Directives: [\"@platform\", {...}] before the first call, [\"@background\"], [\"@foreground\"],\n"
    "[\"@wait\", SECONDS], [\"@drain\"], [\"@submit\"], [\"@kill\"].";

// http[s]://HOST[:PORT][/]
std::optional<ZVCollectorEndpoint> endpointOf(const std::string& url) {
  constexpr std::size_t kLongestUrl = 300;
  constexpr int kLastPort = 65535;
  constexpr std::string_view kPattern = R"(^https?://([A-Za-z0-9.\-]+|\[[0-9a-fA-F:]+\])(:[0-9]{1,5})?/?$)";
  if (url.size() > kLongestUrl || !ZVHelpers::stringMatchWithString(url, kPattern)) return std::nullopt;
  const std::size_t separator = url.find("://");
  std::string host = url.substr(separator + 3);
  if (host.back() == '/') host.pop_back();
  ZVCollectorEndpoint endpoint{.protocol = url.substr(0, separator), .hostname = host, .port = {}};
  const std::size_t colon = host.rfind(':');
  if (colon == std::string::npos || host.back() == ']') return endpoint;
  endpoint.hostname = host.substr(0, colon);
  endpoint.port = host.substr(colon + 1);
  if (std::stoi(endpoint.port) > kLastPort) return std::nullopt;
  return endpoint;
}

// Checks are asked for what is wrong: nothing, when the text is empty.
std::string wrongWithUrl(const std::string& url) {
  return endpointOf(url) ? "" : "it takes http[s]://HOST[:PORT], not \"" + url + '"';
}
std::string wrongWithFolder(const std::string& path) { return path.empty() ? "it takes a folder" : ""; }
std::string wrongWithFile(const std::string& path) {
  return std::ifstream(path).good() ? "" : "can't read \"" + path + '"';
}
std::string wrongWithSeconds(const std::string& text) {
  double seconds = 0;
  const bool good = CLI::detail::lexical_cast(text, seconds) && seconds > 0 && seconds <= kMostQueueSeconds;
  return good ? "" : "it takes a number above 0, up to 3600, not \"" + text + '"';
}

}  // namespace

std::variant<Options, int> readOptions(int count, const char* const* arguments) {
  Options options;
  std::string url;
  CLI::App app(kDescription, "zorvane-play");
  app.footer(kDirectivesHelp);
  app.set_version_flag("--version", std::string("zorvane-play ") + ZorvaneVersionString);
  app.failure_message([](const CLI::App* of, const CLI::Error& wrong) {
    return of->get_name() + ": " + wrong.what() + " (see --help)\n";
  });
  app.add_option("FILE", options.file, "the recording; standard input without it, or with \"-\"")->type_name("");
  app.add_option("--collector", url, "where init and events go: http[s]://HOST[:PORT]")
      ->type_name("URL")
      ->check(wrongWithUrl);
  app.add_option("--data-dir", options.dataDirectory, "where the database lies")
      ->type_name("DIR")
      ->check(wrongWithFolder);
  app.add_option("--ca-file", options.caFile, "an extra certificate authority, PEM")
      ->type_name("FILE")
      ->check(wrongWithFile);
  app.add_option("--queue-seconds", options.queueSeconds, "the event queue's period, 8 by default")
      ->type_name("S")
      ->check(wrongWithSeconds);
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& ended) {
    return app.exit(ended) == 0 ? 0 : kBadUsage;
  }
  if (!url.empty()) options.collector = endpointOf(url);
  return options;
}

#include "zorvane-play/Options.h"

#include <charconv>
#include <fstream>

#include <fmt/format.h>

#include "codecs/ZVHelpers.h"

using namespace zorvane;

namespace {

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

std::optional<double> secondsOf(const std::string& text) {
  double seconds = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  const bool whole = failure == std::errc() && end == text.data() + text.size();
  return whole && seconds > 0 && seconds <= 3600 ? std::optional(seconds) : std::nullopt;
}

// Takes one option with its value; what is wrong with it otherwise.
std::optional<std::string> take(const std::string& name, const std::string& value, Options& options) {
  if (name == "--collector") {
    options.collector = endpointOf(value);
    if (!options.collector) return fmt::format("--collector takes http[s]://HOST[:PORT], not \"{}\"", value);
  } else if (name == "--data-dir") {
    options.dataDirectory = value;
    if (value.empty()) return "--data-dir takes a folder";
  } else if (name == "--ca-file") {
    options.caFile = value;
    if (!std::ifstream(value).good()) return fmt::format("--ca-file: can't read \"{}\"", value);
  } else if (name == "--queue-seconds") {
    options.queueSeconds = secondsOf(value);
    if (!options.queueSeconds) return fmt::format("--queue-seconds takes a number up to 3600, not \"{}\"", value);
  } else {
    return fmt::format("there is no option {}", name);
  }
  return std::nullopt;
}

}  // namespace

std::variant<Options, std::string> readOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (argument.size() > 1 && argument.front() == '-') {
      if (i + 1 == arguments.size()) return fmt::format("{} takes a value", argument);
      if (const auto wrong = take(argument, arguments[++i], options)) return *wrong;
    } else if (options.file.empty()) {
      options.file = argument;
    } else {
      return fmt::format("one file at a time, not \"{}\" as well", argument);
    }
  }
  return options;
}

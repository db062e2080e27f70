#include "Options.h"

#include <fstream>
#include <regex>
#include <stdexcept>

namespace {

constexpr int kLastPort = 65535;

ZVCollectorEndpoint endpointOf(const std::string& url) {
  static const std::regex form(R"((https?)://([A-Za-z0-9.\-]+|\[[0-9A-Fa-f:]+\])(:([0-9]{1,5}))?/?)");
  std::smatch parts;
  if (!std::regex_match(url, parts, form) || (parts[4].matched && std::stoi(parts[4]) > kLastPort))
    throw std::invalid_argument("--collector takes http[s]://HOST[:PORT], not \"" + url + '"');
  return {.protocol = parts[1], .hostname = parts[2], .port = parts[4]};
}

}  // namespace

Options readOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    const auto value = [&] {
      if (i + 1 == arguments.size() || arguments[i + 1].empty()) throw std::invalid_argument(name + " takes a value");
      return arguments[++i];
    };
    if (name == "--help") options.help = true;
    else if (name == "--collector") options.collector = endpointOf(value());
    else if (name == "--data-dir") options.dataDirectory = value();
    else if (name == "--ca-file") options.caFile = value();
    else if (name == "--script") options.script = value();
    else if (name == "--ticker") options.ticker = true;
    else throw std::invalid_argument("there is no option " + name);
  }
  for (const std::string& file : {options.caFile, options.script})
    if (!file.empty() && !std::ifstream(file)) throw std::invalid_argument("can't read " + file);
  return options;
}

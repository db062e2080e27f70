#include "collector/Options.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "collector/Text.h"

namespace collector {

namespace {

constexpr std::size_t kKeyLength = 32;
constexpr std::size_t kSecretLength = 40;
constexpr int kMaxPort = 65'535;

// The range from 'A' to 'z' is meant as it is, with the six characters between the capitals and the small letters.
bool isKey(std::string_view text, std::size_t length) {
  text = withoutFinalTerminator(text);
  const auto allowed = [](char c) { return (c >= 'A' && c <= 'z') || (c >= '0' && c <= '9'); };
  return text.size() == length && std::all_of(text.begin(), text.end(), allowed);
}

bool setText(std::string& field, std::string_view value) {
  field = value;
  return !value.empty();
}

bool setPort(Options& options, std::string_view value) {
  const char* const end = value.data() + value.size();
  const auto [rest, error] = std::from_chars(value.data(), end, options.port);
  return error == std::errc() && rest == end && options.port >= 0 && options.port <= kMaxPort;
}

bool addGame(Options& options, std::string_view value) {
  const auto colon = value.find(':');
  if (colon == std::string_view::npos) return false;
  const auto key = value.substr(0, colon);
  const auto secret = value.substr(colon + 1);
  return isKey(key, kKeyLength) && isKey(secret, kSecretLength) && options.games.emplace(key, secret).second;
}

struct Option {
  std::string_view name;
  bool (*set)(Options&, std::string_view);
  const char* expects;
};

constexpr auto kOptions = std::to_array<Option>({
    {"--host", [](Options& o, std::string_view v) { return setText(o.host, v); }, "an address"},
    {"--port", setPort, "a number from 0 to 65535"},
    {"--tls-cert", [](Options& o, std::string_view v) { return setText(o.tlsCertificate, v); }, "a file"},
    {"--tls-key", [](Options& o, std::string_view v) { return setText(o.tlsKey, v); }, "a file"},
    {"--game", addGame, "KEY:SECRET, 32 and 40 characters of [A-z0-9], each key once"},
    {"--configs", [](Options& o, std::string_view v) { return setText(o.configsFile, v); }, "a file"},
    {"--database", [](Options& o, std::string_view v) { return setText(o.databaseFile, v); }, "a file"},
});

std::string problemAsAWhole(const Options& options) {
  if (options.help) return {};
  if (options.games.empty()) return "give at least one --game KEY:SECRET";
  if (options.tlsCertificate.empty() != options.tlsKey.empty()) return "--tls-cert and --tls-key go together";
  return {};
}

}  // namespace

std::optional<Options> parseOptions(int count, const char* const* arguments, std::string& problem) {
  Options options;
  for (int at = 1; at < count && problem.empty(); ++at) {
    const std::string_view name = arguments[at];
    const auto* const option =
        std::find_if(kOptions.begin(), kOptions.end(), [&](const Option& each) { return each.name == name; });
    if (name == "--help") options.help = true;
    else if (name == "--quiet") options.quiet = true;
    else if (option == kOptions.end()) problem = fmt::format("{} is no option; see --help", name);
    else if (++at == count || !option->set(options, arguments[at]))
      problem = fmt::format("{} takes {}", name, option->expects);
  }
  if (problem.empty()) problem = problemAsAWhole(options);
  return problem.empty() ? std::optional(std::move(options)) : std::nullopt;
}

const char* helpText() {
  return R"(zorvane-collector --game KEY:SECRET [options]

Takes what games report, checks it strictly and keeps it in a database. The first line printed says where it listens.

  --game KEY:SECRET   a game whose reports are taken; repeatable
  --host ADDRESS      where to listen (127.0.0.1)
  --port PORT         0 takes a free one (8080)
  --tls-cert FILE     certificate, PEM; with it, HTTPS is spoken
  --tls-key FILE      its key, PEM
  --configs FILE      remote configurations by game key, JSON:
                      {"KEY": {"configs": [{"key": "speed", "value": "7", "start_ts": null, "end_ts": null}],
                               "configs_hash": "h1", "ab_id": "test", "ab_variant_id": "b"}}
  --database FILE     where everything is kept (zorvane-collector.sqlite)
  --quiet             no line per request on standard error
  --help              this text

GET /summary and GET /events?after=ID&limit=N show what it holds.
)";
}

}  // namespace collector

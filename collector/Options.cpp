#include "collector/Options.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "collector/Text.h"

namespace collector {

namespace {

constexpr std::size_t kKeyLength = 32;
constexpr std::size_t kSecretLength = 40;
constexpr int kMaxPort = 65'535;

// The range from 'A' to 'z' is meant as it is, with the six characters between the upper-case and the lower-case
// letters.
bool isKey(std::string_view text, std::size_t length) {
  text = withoutFinalTerminator(text);
  const auto allowed = [](char c) { return (c >= 'A' && c <= 'z') || (c >= '0' && c <= '9'); };
  return text.size() == length && std::all_of(text.begin(), text.end(), allowed);
}

// Checks are asked for what is wrong: nothing, when the text is empty.
std::string wrongWithName(const std::string& text) { return text.empty() ? "it may not be empty" : ""; }

std::string wrongWithPort(const std::string& text) {
  int port = 0;
  const bool good = CLI::detail::lexical_cast(text, port) && port >= 0 && port <= kMaxPort;
  return good ? "" : "it takes a number from 0 to 65535, not \"" + text + '"';
}

std::string addGames(Collector::Games& games, const std::vector<std::string>& pairs) {
  for (const std::string& pair : pairs) {
    const auto [key, secret] = std::pair(pair.substr(0, pair.find(':')), pair.substr(pair.find(':') + 1));
    if (!isKey(key, kKeyLength) || !isKey(secret, kSecretLength))
      return "it takes KEY:SECRET, 32 and 40 characters of [A-z0-9], not \"" + pair + '"';
    if (!games.emplace(key, secret).second) return "the key " + key + " is there twice";
  }
  return {};
}

constexpr const char* kFormOfConfigs =
    "Remote configurations, by game key:\n"
    "  {\"KEY\": {\"configs\": [{\"key\": \"speed\", \"value\": \"7\", \"start_ts\": null, \"end_ts\": null}],\n"
    "           \"configs_hash\": \"h1\", \"ab_id\": \"test\", \"ab_variant_id\": \"b\"}}\n"
    "\n"
    "GET /summary and GET /events?after=ID&limit=N show what the collector holds.";

}  // namespace

std::variant<Options, int> readOptions(int count, const char* const* arguments) {
  Options options;
  std::vector<std::string> games;
  CLI::App app(
      "Takes what games report, checks it strictly and keeps it in a database. The first line printed says where it\n"
      "listens.",
      "zorvane-collector");
  app.footer(kFormOfConfigs);
  app.set_version_flag("--version", "zorvane-collector " COLLECTOR_VERSION);
  app.failure_message([](const CLI::App* of, const CLI::Error& error) {
    return of->get_name() + ": " + error.what() + " (see --help)\n";
  });
  const auto text = [&](const char* name, std::string& field, const char* type, const char* meaning) {
    return app.add_option(name, field, meaning)->type_name(type)->check(wrongWithName);
  };
  app.add_option("--game", games, "a game whose reports are taken; repeatable")
      ->type_name("KEY:SECRET")
      ->required()
      ->allow_extra_args(false);
  text("--host", options.host, "ADDRESS", "where to listen")->capture_default_str();
  app.add_option("--port", options.port, "0 takes a free one")
      ->type_name("PORT")
      ->check(wrongWithPort)
      ->capture_default_str();
  CLI::Option* certificate = text("--tls-cert", options.tlsCertificate, "FILE", "certificate, PEM; with it, HTTPS");
  CLI::Option* key = text("--tls-key", options.tlsKey, "FILE", "its key, PEM");
  certificate->needs(key);
  key->needs(certificate);
  text("--configs", options.configsFile, "FILE", "remote configurations, JSON; see below");
  text("--database", options.databaseFile, "FILE", "where everything is kept")->capture_default_str();
  app.add_flag("--quiet", options.quiet, "no line per request on standard error");
  app.callback([&] {
    const std::string wrong = addGames(options.games, games);
    if (!wrong.empty()) throw CLI::ValidationError("--game", wrong);
  });
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& ended) {
    return app.exit(ended) == 0 ? 0 : kBadUsage;
  }
  return options;
}

}  // namespace collector

#include "collector/Options.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

namespace collector {

namespace {

constexpr int kMaxPort = 65'535;

// Checks are asked for what is wrong: nothing, when the text is empty.
std::string wrongWithName(const std::string& text) { return text.empty() ? "it may not be empty" : ""; }

std::string wrongWithPort(const std::string& text) {
  int port = 0;
  const bool good = CLI::detail::lexical_cast(text, port) && port >= 0 && port <= kMaxPort;
  return good ? "" : "it takes a number from 0 to 65535, not \"" + text + '"';
}

std::string addGames(std::vector<Game>& games, const std::vector<std::string>& pairs) {
  for (const std::string& pair : pairs) {
    const auto colon = std::min(pair.find(':'), pair.size());
    games.push_back({pair.substr(0, colon), pair.substr(std::min(colon + 1, pair.size())), ""});
    const std::string wrong = Games::wrongWith(games.back());
    if (!wrong.empty())
      return fmt::format("it takes KEY:SECRET: {}", wrong);  // without what was given: it may be a secret
  }
  return {};
}

std::string addProxies(front::Proxies& proxies, const std::vector<std::string>& addresses) {
  for (const std::string& address : addresses)
    if (!proxies.add(address)) return "it takes an IP address, not \"" + address + '"';
  return {};
}

constexpr const char* kServing =
    "Takes what games report, checks it strictly and keeps it in a database. Without a command it serves; the first\n"
    "line printed says where it listens.";
constexpr const char* kFormOfConfigs =
    "Remote configurations, by game key:\n"
    "  {\"KEY\": {\"configurations\": [{\"key\": \"speed\", \"value\": \"7\", \"builds\": [\"1.4\"], \"share\": 50}],\n"
    "           \"experiments\": [{\"id\": \"prices\", \"groups\": [\n"
    "             {\"id\": \"low\", \"weight\": 1, \"configurations\": [{\"key\": \"price\", \"value\": "
    "\"99\"}]}]}]}}\n";

CLI::Option* addText(CLI::App& app, const char* name, std::string& field, const char* type, const char* meaning) {
  return app.add_option(name, field, meaning)->type_name(type)->check(wrongWithName);
}

CLI::Option* addDatabase(CLI::App& app, std::string& field) {
  return addText(app, "--database", field, "FILE", "where everything is kept")->capture_default_str();
}

// What is given as texts, until all of it is there.
struct Given {
  std::vector<std::string> games, proxies;
};

void addListening(CLI::App& app, Options& options, Given& given) {
  app.option_defaults()->group("Listening");
  addText(app, "--host", options.host, "ADDRESS", "where to listen")->capture_default_str();
  app.add_option("--port", options.port, "0 takes a free one")
      ->type_name("PORT")
      ->check(wrongWithPort)
      ->capture_default_str();
  CLI::Option* certificate = addText(app, "--tls-cert", options.tlsCertificate, "FILE",
                                     "certificate, PEM; with it, "
                                     "HTTPS; read again on SIGHUP");
  CLI::Option* key = addText(app, "--tls-key", options.tlsKey, "FILE", "its key, PEM");
  certificate->needs(key);
  key->needs(certificate);
  app.add_option("--proxy", given.proxies, "a proxy whose word on the address of a client is taken; repeatable")
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
}

void addContent(CLI::App& app, Options& options, Given& given) {
  app.option_defaults()->group("Games and what they report");
  CLI::Option* game = app.add_option("--game", given.games,
                                     "a game whose reports are taken; for development only, as anybody on the machine "
                                     "can see the command line; repeatable")
                          ->type_name("KEY:SECRET")
                          ->allow_extra_args(false);
  addText(app, "--games", options.gamesFile, "FILE",
          "the games, a line for each: KEY SECRET NAME; read again on SIGHUP")
      ->excludes(game);
  CLI::Option* configs =
      addText(app, "--configs", options.configsFile, "FILE", "remote configurations to import, JSON; see below");
  CLI::Option* home = addText(app, "--configurations-from", options.configurationsHome, "URL",
                              "the collector whose remote configurations are taken over, and edited there alone")
                          ->excludes(configs);
  addText(app, "--configurations-token", options.configurationsTokenFile, "FILE", "its token for reading")->needs(home);
  addText(app, "--configurations-ca", options.configurationsCaFile, "FILE",
          "to trust for it in place of the system's, PEM")
      ->needs(home);
  addDatabase(app, options.databaseFile);
  app.add_option("--keep-days", options.keepDays, "how long events are kept; 0: for good")
      ->type_name("DAYS")
      ->check(CLI::Range(0, 100'000));
  CLI::Option* warehouse = addText(app, "--warehouse", options.warehouse, "URL",
                                   "a ClickHouse that events are handed on to: http://HOST:PORT/DATABASE");
  addText(app, "--warehouse-credentials", options.warehouseCredentialsFile, "FILE", "its user and password, two lines")
      ->needs(warehouse);
}

void addWatching(CLI::App& app, Options& options) {
  static const std::map<std::string, Log::Form> kForms = {{"text", Log::Form::text}, {"json", Log::Form::json}};
  app.option_defaults()->group("Who may look, and the log");
  addText(app, "--read-token", options.readingTokenFile, "FILE", "who brings the token in it may ask");
  addText(app, "--edit-token", options.editingTokenFile, "FILE",
          "who brings the token in it may edit and erase as well");
  app.add_option("--log-format", options.logForm, "of the lines on standard error: text or json")
      ->type_name("FORM")
      ->transform(CLI::Transformer(kForms).description(""));
  app.add_flag("--log-addresses", options.logAddresses, "addresses of clients as they are, not shortened");
  app.add_flag("--quiet", options.quiet, "no line per request on standard error");
}

void checkServing(Options& options, const Given& given) {
  if (given.games.empty() && options.gamesFile.empty()) throw CLI::RequiredError("--games or --game");
  const std::string wrongGame = addGames(options.games, given.games);
  if (!wrongGame.empty()) throw CLI::ValidationError("--game", wrongGame);
  const std::string wrongProxy = addProxies(options.proxies, given.proxies);
  if (!wrongProxy.empty()) throw CLI::ValidationError("--proxy", wrongProxy);
}

// Options of serving before another command would be ignored.
void expectNone(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options())
    if (option->count() > 0) throw CLI::ValidationError(option->get_name(), "it belongs to serving, not to a command");
}

void addCommands(CLI::App& app, AddGame& addGame, BackUp& backUp, Erase& erase) {
  CLI::App* games =
      app.add_subcommand("game", "Changes the file of the games.")->require_subcommand(1)->group("Commands");
  CLI::App* add = games->add_subcommand("add", "Makes a key and a secret for a game and adds it to the file.");
  add->add_option("NAME", addGame.name, "what people call it")->required()->type_name("")->check(wrongWithName);
  addText(*add, "--games", addGame.gamesFile, "FILE", "the games; made when it isn't there")->capture_default_str();

  CLI::App* copy =
      app.add_subcommand("backup", "Copies the database whole, while the collector runs or not.")->group("Commands");
  copy->add_option("FILE", backUp.target, "the copy, which must not be there")
      ->required()
      ->type_name("")
      ->check(wrongWithName);
  addDatabase(*copy, backUp.databaseFile);

  CLI::App* remove = app.add_subcommand("erase",
                                        "Removes all that is known of a player, while the collector runs or "
                                        "not. A warehouse follows once a collector runs that hands on to it.")
                         ->group("Commands");
  addText(*remove, "--game", erase.game, "KEY", "the game")->required();
  addText(*remove, "--user", erase.userId, "ID", "the player's user_id")->required();
  addDatabase(*remove, erase.databaseFile);
}

}  // namespace

std::string_view versionText() { return COLLECTOR_VERSION; }

bool Options::isExposed() const {
  return !(host == "localhost" || host == "::1" || host.starts_with("127.")) || !proxies.empty();
}

Command readCommand(int count, const char* const* arguments) {
  Options options;
  AddGame addGame;
  BackUp backUp;
  Erase erase;
  Given given;
  CLI::App app(kServing, "zorvane-collector");
  app.set_version_flag("--version", "zorvane-collector " COLLECTOR_VERSION);
  app.failure_message([](const CLI::App* of, const CLI::Error& error) {
    return of->get_name() + ": " + error.what() + " (see --help)\n";
  });
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  addCommands(app, addGame, backUp, erase);
  app.footer(kFormOfConfigs);
  addListening(app, options, given);
  addContent(app, options, given);
  addWatching(app, options);
  app.callback([&] {
    if (app.get_subcommands().empty()) checkServing(options, given);
    else expectNone(app);
  });
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& ended) {
    return app.exit(ended) == 0 ? 0 : kBadUsage;
  }
  if (app.got_subcommand("game")) return addGame;
  if (app.got_subcommand("backup")) return backUp;
  if (app.got_subcommand("erase")) return erase;
  return options;
}

}  // namespace collector

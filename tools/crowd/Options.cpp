#include "crowd/Options.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

namespace crowd {

namespace {

constexpr const char* kDescription =
    "Plays a population against a collector, over the real protocol: players that come, play, pay, crash and stay "
    "away.";

constexpr const char* kFooter =
    "What it plays:\n"
    "  history   --days and --players: days of the past, as fast as the collector takes them (the default)\n"
    "  live      --rate: in real time, until it is stopped; with --days as well, after the history\n"
    "  load      --load: batches that were made beforehand, as fast as possible\n"
    "\n"
    "The same seed, days, players and --until make the same records, event_uuid included, so a history that is sent\n"
    "twice is kept once. --truth writes what was acknowledged, counted from the records themselves.\n"
    "\n"
    "Ctrl-C ends it: what is on its way is finished, live sessions are ended. Its status is 0 when every record was\n"
    "acknowledged, 1 when one was refused or nothing answered, 2 when the command line was wrong.";

// Texts of the command line that become something else.
struct Given {
  std::string collector, caFile, game, gameFile, until = "now";
  int days = 30, patience = 60, seconds = 0;
  bool noOwnExperiment = false;
};

std::optional<GameKeys> readGame(std::string_view text) {
  const auto colon = text.find(':');
  if (colon == 0 || colon == std::string_view::npos || colon + 1 == text.size()) return std::nullopt;
  return GameKeys{std::string(text.substr(0, colon)), std::string(text.substr(colon + 1))};
}

// The first line that isn't a comment, up to white space.
std::optional<GameKeys> readGameFile(const std::string& path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);)
    if (!line.empty() && line.front() != '#') return readGame(line.substr(0, line.find_first_of(" \t\r")));
  return std::nullopt;
}

// "now", or the beginning of a UTC day: 2026-11-01.
std::optional<std::int64_t> readTime(std::string_view text) {
  if (text == "now") return std::time(nullptr);
  int year = 0;
  unsigned month = 0, day = 0;
  const auto number = [&](std::size_t at, std::size_t count, auto& into) {
    const char* const end = text.data() + at + count;
    const auto read = std::from_chars(text.data() + at, end, into);
    return read.ec == std::errc() && read.ptr == end;
  };
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  if (!number(0, 4, year) || !number(5, 2, month) || !number(8, 2, day)) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count() * kDaySeconds;
}

// What is wrong; empty when nothing is.
std::string complete(Settings& settings, const Given& given) {
  const auto endpoint = Endpoint::parse(given.collector);
  if (!endpoint) return "--collector takes http(s)://HOST:PORT, not \"" + given.collector + '"';
  settings.target.endpoint = *endpoint;
  settings.target.endpoint.caFile = given.caFile;
  const auto game = given.gameFile.empty() ? readGame(given.game) : readGameFile(given.gameFile);
  if (!game) return given.gameFile.empty() ? "--game takes KEY:SECRET" : given.gameFile + " holds no KEY:SECRET";
  settings.target.game = *game;
  settings.target.patience = std::chrono::seconds(given.patience);
  const auto until = readTime(given.until);
  if (!until) return "--until takes \"now\" or a day such as 2026-11-01, not \"" + given.until + '"';
  settings.rules.period = {*until - given.days * kDaySeconds, *until};
  if (settings.rate > 0 && given.until != "now") return "--rate goes on from now: --until can't be another time";
  if (given.seconds > 0) settings.seconds = std::chrono::seconds(given.seconds);
  return {};
}

template <class Number>
CLI::Range within(Number least, Number most) {
  return CLI::Range(least, most);
}

void addTarget(CLI::App& app, Settings& settings, Given& given) {
  app.add_option("--collector", given.collector, "where it listens")->type_name("URL")->required();
  app.add_option("--ca-file", given.caFile, "certificates to trust, PEM, in place of the system's")->type_name("FILE");
  auto* game = app.add_option("--game", given.game, "the game that is played")->type_name("KEY:SECRET");
  app.add_option("--game-file", given.gameFile, "the same from a file's first line")->type_name("FILE")->excludes(game);
  app.add_option("--connections", settings.connections, "to the collector at once")
      ->check(within(1, 512))
      ->capture_default_str();
  app.add_option("--patience", given.patience, "seconds without any answer, before it gives up")
      ->check(within(1, 86'400))
      ->capture_default_str();
}

void addHistory(CLI::App& app, Settings& settings, Given& given) {
  app.add_option("--days", given.days, "of the history")->check(within(1, 3'650))->capture_default_str();
  app.add_option("--players", settings.players, "who arrive in those days")
      ->check(within(1, 5'000'000))
      ->capture_default_str();
  app.add_option("--until", given.until, "its end: now, or the day before which it ends, by UTC")
      ->type_name("DATE")
      ->capture_default_str();
}

void addLiveAndLoad(CLI::App& app, Settings& settings, Given& given) {
  auto* rate = app.add_option("--rate", settings.rate, "events a second, in real time")->check(within(0.01, 1e6));
  app.add_option("--seconds", given.seconds, "how long the live part lasts; else until it is stopped")
      ->check(within(1, 10'000'000))
      ->needs(rate);
  auto* load = app.add_option("--load", settings.load, "events to send as fast as possible")
                   ->type_name("EVENTS")
                   ->check(within(1, 100'000'000))
                   ->excludes(rate);
  app.add_option("--batch", settings.batch, "records a batch of the load")
      ->check(within(1, 500))
      ->capture_default_str()
      ->needs(load);
}

void addModel(CLI::App& app, Settings& settings, Given& given) {
  app.add_option("--seed", settings.seed, "makes a run that can be repeated");
  app.add_option("--better", settings.rules.better, "the A/B variant whose players have it easier and stay longer")
      ->type_name("VARIANT")
      ->capture_default_str();
  app.add_flag(
      "--no-own-experiment", given.noOwnExperiment,
      "no groups but the collector's; else players that it puts in none are in one of the crowd's own, a or b");
}

}  // namespace

std::variant<Settings, int> readOptions(int count, const char* const* arguments) {
  Settings settings;
  Given given;
  CLI::App app(kDescription, "zorvane-crowd");
  app.footer(kFooter);
  app.set_version_flag("--version", "zorvane-crowd " CROWD_VERSION);
  app.failure_message([](const CLI::App* of, const CLI::Error& error) {
    return of->get_name() + ": " + error.what() + " (see --help)\n";
  });
  settings.seed = Random::fresh();
  addTarget(app, settings, given);
  addHistory(app, settings, given);
  addLiveAndLoad(app, settings, given);
  addModel(app, settings, given);
  app.add_option("--truth", settings.truthFile, "writes the true figures there, as JSON")->type_name("FILE");
  app.add_flag("--quiet", settings.quiet, "no progress on standard error");
  std::string wrong;
  app.callback([&] {
    settings.history = settings.load == 0 && (settings.rate == 0 || app.count("--days") + app.count("--players") > 0);
    settings.rules.ownExperiment = !given.noOwnExperiment;
    wrong = complete(settings, given);
    if (!wrong.empty()) throw CLI::ValidationError(wrong);
  });
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& ended) {
    return app.exit(ended) == 0 ? 0 : kBadUsage;
  }
  return settings;
}

}  // namespace crowd

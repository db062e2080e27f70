#include "collector/report/Options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <deque>

#include "collector/archive/Schema.h"

namespace collector::report {

namespace {

using Values = std::deque<std::pair<std::string, std::string>>;  // of parameters, by name; they stay where they are

std::string wrongWithText(const std::string& text) { return text.empty() ? "it may not be empty" : ""; }

// "user_id" is "--user-id".
std::string optionOf(std::string_view name) {
  std::string option = fmt::format("--{}", name);
  std::ranges::replace(option, '_', '-');
  return option;
}

void addParameter(CLI::App& app, Values& values, std::string_view name, const std::string& says, const char* type) {
  auto& [known, value] = values.emplace_back(name, "");
  app.add_option(optionOf(name), value, says)->type_name(type)->check(wrongWithText);
}

void addParameters(CLI::App& app, const Question& question, Values& values) {
  app.option_defaults()->group(question.takes.empty() ? "Filters" : std::string("Of ") + std::string(question.name));
  for (const Parameter& each : question.takes) addParameter(app, values, each.name, std::string(each.says), "TEXT");
  app.option_defaults()->group("Filters");
  addParameter(app, values, "game", "its key; the only one that there is where it is missing", "KEY");
  addParameter(app, values, "from", "first UTC day; 29 days before the last where it is missing", "DATE");
  addParameter(app, values, "to", "last UTC day; today where it is missing", "DATE");
  for (const Column column : kSegmentColumns)
    addParameter(app, values, nameOf(column), "events with this alone", "TEXT");
}

void addSource(CLI::App& app, Options& options, bool& csv, bool& json) {
  app.option_defaults()->group("Where it is asked, and the form of the answer");
  const auto text = [&](const char* name, std::string& field, const char* type, const char* says) {
    return app.add_option(name, field, says)->type_name(type)->check(wrongWithText);
  };
  CLI::Option* database = text("--database", options.databaseFile, "FILE", "a collector's database, which is only read")
                              ->capture_default_str();
  CLI::Option* warehouse =
      text("--warehouse", options.warehouse, "URL", "http://HOST:PORT/DATABASE, in its place")->excludes(database);
  text("--warehouse-credentials", options.warehouseCredentialsFile, "FILE", "its user and password, two lines")
      ->needs(warehouse);
  CLI::Option* asCsv = app.add_flag("--csv", csv, "in place of a table for people");
  app.add_flag("--json", json, "the same")->excludes(asCsv);
}

std::string namesOf(const CLI::App& app) {
  std::string names;
  for (const CLI::Option* option : app.get_options()) names += ' ' + option->get_name();
  return names;
}

std::string namesOfQuestions() {
  std::string names;
  for (const Question& question : questions()) names += fmt::format(" {}", question.name);
  return names;
}

}  // namespace

std::variant<Options, int> readOptions(int count, const char* const* arguments) {
  Options options;
  bool csv = false, json = false;
  std::map<const CLI::App*, Values> values;
  CLI::App app("Asks a question of what a collector keeps.", "zorvane-report");
  app.set_version_flag("--version", "zorvane-report " COLLECTOR_VERSION);
  app.get_formatter()->label("SUBCOMMAND", "QUESTION");
  app.failure_message([](const CLI::App* of, const CLI::Error& error) {
    const auto asked = of->get_subcommands();
    if (asked.empty()) return fmt::format("zorvane-report: {}\nQuestions:{}\n", error.what(), namesOfQuestions());
    const CLI::App& question = *asked.front();
    return fmt::format("zorvane-report: {}\n{} takes{}\n", error.what(), question.get_name(), namesOf(question));
  });
  for (const Question& question : questions()) {
    CLI::App* asked = app.add_subcommand(std::string(question.name), std::string(question.says))->group("Questions");
    addParameters(*asked, question, values[asked]);
    addSource(*asked, options, csv, json);
  }
  app.footer("zorvane-report QUESTION --help says what it takes.");
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& ended) {
    return app.exit(ended) == 0 ? 0 : kBadUsage;
  }
  if (app.get_subcommands().empty()) {
    fmt::print("{}", app.help());
    return 0;
  }
  const CLI::App* const asked = app.get_subcommands().front();
  options.question = findQuestion(asked->get_name());
  for (const auto& [name, value] : values[asked])
    if (!value.empty()) options.parameters[name] = value;
  options.form = csv ? Form::csv : json ? Form::json : Form::table;
  return options;
}

}  // namespace collector::report

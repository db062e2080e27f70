#include "system/Processes.h"

#include <fmt/format.h>
#include <httplib.h>

#include <stdexcept>

#include "codecs/ZVHelpers.h"
#include "support/Sqlite.h"

using namespace zorvane;

namespace {

ZVValue parsed(const std::string& json) { return ZVHelpers::dictionaryWithJsonString(json).value_or(ZVValue()); }

}  // namespace

RunningCollector::RunningCollector(const TemporaryFolder& folder, const std::vector<std::string>& more)
    : database_(folder.file("collector.sqlite")) {
  const std::string game = fmt::format("{}:{}", Game::kKey, Game::kSecret);
  std::vector<std::string> command{ZORVANE_COLLECTOR, "--port",  "0",      "--quiet",
                                   "--database",      database_, "--game", game};
  command.insert(command.end(), more.begin(), more.end());
  process_.emplace(folder.path(), command);
  const std::string line = process_->firstLine();
  const auto start = line.find("http");
  if (start == std::string::npos) throw std::runtime_error("the collector does not listen: " + process_->errors());
  url_ = line.substr(start);
}

std::string RunningCollector::get(const std::string& path) const {
  const auto answer = httplib::Client(url_).Get(path);
  if (!answer || answer->status != 200)
    throw std::runtime_error(fmt::format("{}: {}", path, answer ? answer->body : "no answer"));
  return answer->body;
}

std::vector<std::string> RunningCollector::recordTexts() const {
  return textsOf(database_, "SELECT record FROM event ORDER BY id");
}

std::vector<ZVMap> RunningCollector::records(std::string_view category) const {
  std::vector<ZVMap> found;
  for (const auto& text :
       textsOf(database_, fmt::format("SELECT record FROM event WHERE category = '{}' ORDER BY id", category)))
    found.push_back(*parsed(text).ifMap());
  return found;
}

ZVValue::Array RunningCollector::ask(const std::string& question, const std::string& parameters,
                                     const std::string& game) const {
  const ZVValue answer =
      parsed(get(fmt::format("/api/questions/{}?game={}&from=1970-01-01&to=9999-12-31{}", question, game, parameters)));
  return *answer.ifMap()->find("rows")->ifArray();
}

std::map<std::string, std::int64_t> RunningCollector::categories() const {
  std::map<std::string, std::int64_t> counts;
  for (const ZVValue& row : ask("events")) counts[*(*row.ifArray())[0].ifString()] = *(*row.ifArray())[1].ifInteger();
  return counts;
}

std::string RunningCollector::refused(const std::string& game) const { return get("/api/refused?game=" + game); }

std::int64_t RunningCollector::metric(const std::string& name) const {
  const std::string text = get("/metrics"), line = fmt::format("\nzorvane_{} ", name);
  const auto found = text.find(line);
  if (found == std::string::npos) throw std::runtime_error("no metric " + name);
  return std::stoll(text.substr(found + line.size()));
}

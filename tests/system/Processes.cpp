#include "system/Processes.h"

#include <httplib.h>

#include <stdexcept>

#include "codecs/ZVHelpers.h"
#include "support/Game.h"

using namespace zorvane;

RunningCollector::RunningCollector(const TemporaryFolder& folder, const std::vector<std::string>& more) {
  const std::string game = std::string(Game::kKey) + ":" + Game::kSecret;
  std::vector<std::string> command{
      ZORVANE_COLLECTOR, "--port", "0", "--quiet", "--database", folder.file("collector.sqlite"), "--game", game};
  command.insert(command.end(), more.begin(), more.end());
  process_.emplace(folder.path(), command);
  const std::string line = process_->firstLine();
  const auto start = line.find("http");
  if (start == std::string::npos) throw std::runtime_error("the collector does not listen: " + process_->errors());
  url_ = line.substr(start);
}

ZVValue RunningCollector::get(const std::string& path) const {
  const auto answer = httplib::Client(url_).Get(path.c_str());
  if (!answer) throw std::runtime_error("no answer to " + path);
  return ZVHelpers::dictionaryWithJsonString(answer->body).value_or(ZVValue());
}

std::vector<ZVMap> RunningCollector::records(std::string_view category) const {
  std::vector<ZVMap> found;
  std::int64_t after = 0;
  for (bool more = true; more;) {
    more = false;
    const ZVValue page = get("/events?limit=1000&after=" + std::to_string(after));
    for (const ZVValue& row : *page.ifArray()) {
      more = true;
      after = *row.ifMap()->find("id")->ifInteger();
      if (*row.ifMap()->find("category")->ifString() == category)
        found.push_back(*row.ifMap()->find("record")->ifMap());
    }
  }
  return found;
}

ZVMap RunningCollector::summary() const { return *get("/summary").ifMap(); }

#include "system/Processes.h"

#include <httplib.h>

#include <stdexcept>

#include "codecs/ZVHelpers.h"

using namespace zorvane;

namespace {
constexpr const char* kKey = "0123456789abcdef0123456789ABCDEF";
constexpr const char* kSecret = "0123456789abcdef0123456789ABCDEF01234567";
}  // namespace

RunningCollector::RunningCollector(const TemporaryFolder& folder, const std::vector<std::string>& more) {
  std::vector<std::string> command{ZORVANE_COLLECTOR,
                                   "--port",
                                   "0",
                                   "--quiet",
                                   "--game",
                                   std::string(kKey) + ":" + kSecret,
                                   "--database",
                                   folder.file("collector.sqlite")};
  command.insert(command.end(), more.begin(), more.end());
  process_ = std::make_unique<ChildProcess>(folder.path(), command);
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

std::string Player::database() const { return folder.file(data) + "/zorvane.sqlite"; }

std::unique_ptr<ChildProcess> Player::start(const std::string& recording, ChildProcess::Limits limits) const {
  return std::make_unique<ChildProcess>(
      folder.path(),
      std::vector<std::string>{ZORVANE_PLAY, "--collector", collectorUrl, "--data-dir", folder.file(data),
                               "--queue-seconds", "3600"},
      recording, limits);
}

std::string initialising() {
  return std::string("[\"initializeWithGameKey:gameSecret:\",\"") + kKey + "\",\"" + kSecret + "\"]\n[\"@drain\"]\n";
}

std::string designs(int first, int count) {
  std::string lines;
  for (int i = first; i < first + count; ++i)
    lines += "[\"addDesignEventWithEventId:value:\",\"n:" + std::to_string(i) + "\"," + std::to_string(i) + "]\n";
  return lines;
}

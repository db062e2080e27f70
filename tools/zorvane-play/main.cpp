// zorvane-play: plays a recorded game session through the facade.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>
#include <variant>

#include <zorvane/ZVPlatform.h>

#include "events/ZVEvents.h"
#include "zorvane-play/Options.h"
#include "zorvane-play/Recording.h"

using namespace zorvane;

namespace {

int refuse(const std::string& message) {
  std::cerr << "zorvane-play: " << message << '\n';
  return kBadUsage;
}

std::variant<Recording, std::string> readRecordingFrom(const std::string& file) {
  if (file.empty() || file == "-") return readRecording(std::cin);
  std::ifstream lines(file);
  if (!lines) return "can't read " + file;
  return readRecording(lines);
}

ZVPlatform platformFor(const Options& options, ZVPlatform platform) {
  if (options.collector) platform.collector = *options.collector;
  platform.dataDirectory = options.dataDirectory;
  platform.certificateAuthorityFile = options.caFile;
  platform.exitSeconds = 20;  // a recording is played whole, also on a slow machine
  return platform;
}

int run(int count, const char* const* arguments) {
  const auto options = readOptions(count, arguments);
  if (const auto* status = std::get_if<int>(&options)) return *status;
  const auto& given = std::get<Options>(options);
  const auto recording = readRecordingFrom(given.file);
  if (const auto* wrong = std::get_if<std::string>(&recording)) return refuse(*wrong);
  const auto& session = std::get<Recording>(recording);

  ZVPlatform::install(platformFor(given, session.platform));
  if (given.queueSeconds) ZVEvents::sharedInstance().queueTimerWaitSeconds = *given.queueSeconds;
  play(session);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return run(count, arguments);
  } catch (const std::exception& failure) {
    return refuse(failure.what());
  }
}

#include "collector/archive/Retention.h"

#include <ctime>
#include <exception>
#include <utility>

#include "collector/archive/Schema.h"
#include "collector/archive/Upkeep.h"

namespace collector {

namespace {

constexpr auto kBetweenSteps = std::chrono::milliseconds(20);  // for those who write
constexpr auto kBetweenNames = std::chrono::hours(24);         // all events are read for them

}  // namespace

Retention::Retention(Store& archive, Rule rule)
    : archive_(archive), rule_(std::move(rule)), thread_([this] { work(); }) {}

Retention::~Retention() {
  {
    const std::scoped_lock lock(guard_);
    ending_ = true;
  }
  ended_.notify_one();
  thread_.join();
}

void Retention::work() {
  do {
    while (!step())
      if (!pause(kBetweenSteps)) return;
    pruneNamesInTime();
  } while (pause(rule_.between));
}

bool Retention::step() {
  const std::int64_t before = std::time(nullptr) - rule_.days * kSecondsADay;
  bool isDone = false;
  const bool kept = archive_.writeNow(
      [&](sqlite3* database) { isDone = pruneStep(database, before, rule_.last ? rule_.last(database) : INT64_MAX); });
  return isDone || !kept;  // what can't be deleted now is tried again
}

void Retention::pruneNamesInTime() {
  const auto now = std::chrono::steady_clock::now();
  if (now < nextNames_) return;
  nextNames_ = now + kBetweenNames;
  try {
    Use use;
    archive_.read([&](sqlite3* database) { addUse(database, use); });
    (void)archive_.writeNow([&](sqlite3* database) { pruneNames(database, std::move(use)); });
  } catch (const std::exception&) {  // tomorrow, then
  }
}

bool Retention::pause(std::chrono::milliseconds length) {
  std::unique_lock lock(guard_);
  return !ended_.wait_for(lock, length, [&] { return ending_; });
}

}  // namespace collector

#include "runtime/ZVLogger.h"

#include <array>
#include <exception>

#include <zorvane/ZVNotificationCenter.h>

#include "platform/Console.h"
#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "values/Text.h"

const char* const k_ZV_LoggerMessageNotification = "k_ZV_LoggerMessageNotification";

namespace zorvane {

namespace {

constinit SharedInstance<ZVLogger> shared;

// A line that an observer causes while it is notified of another is written, not posted: it would call itself without
// end.
thread_local bool observersAreNotified = false;

struct LevelRow {
  std::string_view name;      // of the operation
  std::string_view lineWord;  // what its lines begin with
  int messageType;
};
constexpr auto kLevels = std::to_array<LevelRow>({
    // in the order of ZVLogger::Level
    {"e", "Error", 0},
    {"w", "Warning", 1},
    {"i", "Info", 2},
    {"ii", "Info", 2},
    {"d", "Debug", 3},
});

const LevelRow& rowOf(ZVLogger::Level level) { return kLevels[static_cast<std::size_t>(level)]; }

bool isEnabledIn(const ZVLogger& logger, ZVLogger::Level level, int domain) {
  constexpr auto relaxed = std::memory_order_relaxed;
  using Level = ZVLogger::Level;
  switch (level) {
    case Level::error: return true;
    case Level::warning: return logger.warningLogEnabled.load(relaxed);
    case Level::info: return domain != 0 || logger.analyticsLogEnabled.load(relaxed);  // "ZV/System" can't be silenced
    case Level::verbose: return logger.verboseLogEnabled.load(relaxed);
    case Level::debug: return logger.debugEnabled.load(relaxed);
  }
  return false;
}

}  // namespace

ZVLogger& ZVLogger::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVLogger> ZVLogger::setSharedInstance(std::unique_ptr<ZVLogger> instance) {
  return shared.exchange(std::move(instance));
}

bool ZVLogger::isEnabled(Level level, int domain) noexcept {
  try {
    return isEnabledIn(sharedInstance(), level, domain);
  } catch (const std::exception&) {  // the first line of the process, and no memory for the switches
    return level == Level::error || level == Level::warning;
  }
}

std::string_view ZVLogger::getMessageTagForDomain(int domain) noexcept {
  switch (domain) {
    case 0: return "ZV/Analytics";
    case 1: return "ZV/System";
    default: return "ZV";
  }
}

void ZVLogger::sendNotificationMessage(std::string_view line, int messageType) noexcept {
  if (observersAreNotified || !ZVNotificationCenter::hasObservers(k_ZV_LoggerMessageNotification)) return;
  observersAreNotified = true;
  try {
    ZVNotificationCenter::post(k_ZV_LoggerMessageNotification, nullptr, {{"type", messageType}, {"message", line}});
  } catch (const std::exception&) {
    writeConsoleLine("ZVLogger could not post a line to its observers.");
  }
  observersAreNotified = false;
}

void ZVLogger::setAnalyticsLog(bool enabled) { sharedInstance().analyticsLogEnabled = enabled; }
void ZVLogger::setOrbitLog(bool enabled) { sharedInstance().orbitLogEnabled = enabled; }
void ZVLogger::setVerboseLog(bool enabled) { sharedInstance().verboseLogEnabled = enabled; }
void ZVLogger::setWarningLog(bool enabled) { sharedInstance().warningLogEnabled = enabled; }

void ZVLogger::log(Level level, int domain, fmt::string_view format, fmt::format_args args) noexcept {
  if (!isEnabled(level, domain)) return;
  const LevelRow& row = rowOf(level);
  try {
    std::string line = fmt::format("{}/{}: ", row.lineWord, getMessageTagForDomain(domain));
    line += fmt::vformat(format, args);
    if (!isValidUtf8(line)) line = withReplacementCharacters(line);  // what a game handed in may be quoted in it
    if (!isConsoleQuiet()) writeConsoleLine(line);
    sendNotificationMessage(line, row.messageType);
  } catch (const std::exception&) {
    writeConsoleLine("ZVLogger :", row.name, " failed: called with invalid format.");
  }
}

}  // namespace zorvane

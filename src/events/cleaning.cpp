#include <cmath>
#include <string>

#include <fmt/format.h>

#include "codecs/patterns.h"
#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "runtime/ZVThreading.h"
#include "state/ZVState.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::size_t kMaxFields = 50;
constexpr std::size_t kMaxValueLength = 256;
constexpr std::string_view kKeyPattern = "^[a-zA-Z0-9_]{1,64}$";

// Why an entry is left out; also the type under which the reports of each rule are counted.
constexpr std::string_view kNull = "its key or value is null";
constexpr std::string_view kTooMany = "it exceeds the max number of custom fields (50)";
constexpr std::string_view kBadKey =
    "its key contains illegal character, is empty or exceeds the max number of characters (64)";
constexpr std::string_view kBadLength = "its value is an empty string or exceeds the max number of characters (256)";
constexpr std::string_view kBadType = "its value is not a string or number";
constexpr std::string_view kBadText = "its value is not valid UTF-8";

bool isFiniteNumber(const ZVValue& value) {
  const double* fraction = value.ifDouble();
  return value.isNumber() && (fraction == nullptr || std::isfinite(*fraction));
}

// Empty when the entry may stay.
std::string_view reasonToOmit(const ZVMap::Entry& entry, std::size_t kept) {
  if (entry.value.isNull()) return kNull;
  if (kept == kMaxFields) return kTooMany;
  if (!matchesPattern(entry.key, kKeyPattern)) return kBadKey;
  if (const std::string* text = entry.value.ifString()) {
    const auto length = utf16Length(*text);
    if (!length) return kBadText;  // it would cost the whole event
    return *length >= 1 && *length <= kMaxValueLength ? std::string_view() : kBadLength;
  }
  return isFiniteNumber(entry.value) ? std::string_view() : kBadType;
}

void reportOmitted(const ZVMap::Entry& entry, std::string_view reason) {
  const std::string message =
      fmt::format("validateAndCleanCustomFields: entry with key={}, value={} has been omitted because {}",
                  withReplacementCharacters(entry.key), withReplacementCharacters(describe(entry.value)), reason);
  ZVLogger::w(0, "{}", message);
  ZVEvents::addErrorEvent(std::string(reason), ZVErrorSeverity::warning, message);
}

}  // namespace

ZVMap ZVEvents::validateAndCleanCustomFields(const ZVMap& fields) {
  ZVMap kept;
  for (const ZVMap::Entry& entry : fields) {
    if (const std::string_view reason = reasonToOmit(entry, kept.size()); !reason.empty()) reportOmitted(entry, reason);
    else kept.set(entry.key, entry.value);
  }
  return kept;
}

void ZVEvents::addErrorEvent(const std::string& type, ZVErrorSeverity severity, ZVText message) {
  if (!ZVState::isEventSubmissionEnabled() || !ZVState::isSdkErrorEventTypeAllowed(type)) return;
  ZVState::incrementSdkErrorEventCount(type);
  ZVThreading::performTaskOnZVThreadWithBlock(
      [severity, message = message.copy()] { addErrorEventWithSeverity(severity, message, {}, false, true); });
}

}  // namespace zorvane

#include <cmath>
#include <string>

#include <fmt/format.h>

#include "codecs/ZVHelpers.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::size_t kMaxFields = 50;
constexpr std::size_t kMaxKeyLength = 64;
constexpr std::size_t kMaxValueLength = 256;
constexpr std::size_t kMaxErrorMessageLength = 8192;
constexpr std::string_view kKeyPattern = "^[a-zA-Z0-9_]{1,64}$";

// Why an entry was left out. The text doubles as the type under which the reports of each rule are counted.
struct Rule {
  std::string_view message;
  std::size_t limit;
};
constexpr Rule kNull{
    "validateAndCleanCustomFields: entry with key={}, value={} has been omitted because its key or value is null", 0};
constexpr Rule kTooMany{
    "validateAndCleanCustomFields: entry with key={}, value={} has been omitted because it exceeds the max number of "
    "custom fields ({})",
    kMaxFields};
constexpr Rule kBadKey{
    "validateAndCleanCustomFields: entry with key={}, value={} has been omitted because its key contains illegal "
    "character, is empty or exceeds the max number of characters ({})",
    kMaxKeyLength};
constexpr Rule kBadLength{
    "validateAndCleanCustomFields: entry with key={}, value={} has been omitted because its value is an empty string "
    "or exceeds the max number of characters ({})",
    kMaxValueLength};
constexpr Rule kBadType{
    "validateAndCleanCustomFields: entry with key={}, value={} has been omitted because its value is not a string or "
    "number",
    0};

bool isFiniteNumber(const ZVValue& value) {
  const double* fraction = value.ifDouble();
  return value.isNumber() && (fraction == nullptr || std::isfinite(*fraction));
}

// The first rule that an entry breaks; null when it may stay.
const Rule* brokenRule(const ZVMap::Entry& entry, std::size_t kept) {
  if (entry.value.isNull()) return &kNull;
  if (kept == kMaxFields) return &kTooMany;
  if (!ZVHelpers::stringMatchWithString(entry.key, kKeyPattern)) return &kBadKey;
  if (const std::string* text = entry.value.ifString()) {
    const auto length = utf16Length(*text);
    if (!length) return &kBadType;  // bytes that are not UTF-8 are no string, and would cost the whole event
    return *length >= 1 && *length <= kMaxValueLength ? nullptr : &kBadLength;
  }
  return isFiniteNumber(entry.value) ? nullptr : &kBadType;
}

void reportOmitted(const ZVMap::Entry& entry, const Rule& rule) {
  const std::string message = fmt::format(fmt::runtime(rule.message), withReplacementCharacters(entry.key),
                                          withReplacementCharacters(describe(entry.value)), rule.limit);
  ZVLogger::w(0, "{}", message);
  ZVState::addErrorEvent(std::string(rule.message), ZVErrorSeverity::warning,
                         prefixOfUtf16Length(message, kMaxErrorMessageLength));
}

}  // namespace

ZVMap ZVState::validateAndCleanCustomFields(const ZVMap& fields) {
  ZVMap kept;
  for (const ZVMap::Entry& entry : fields) {
    if (const Rule* rule = brokenRule(entry, kept.size())) reportOmitted(entry, *rule);
    else kept.set(entry.key, entry.value);
  }
  return kept;
}

void ZVState::setGlobalCustomEventFields(const ZVMap& fields) {
  sharedInstance().currentGlobalCustomEventFields = fields;
  if (fields.empty()) return;
  ZVLogger::i(0, "Set global custom event fields: {}", ZVText(ZVHelpers::jsonStringWithObject(fields)));
}

const ZVMap& ZVState::getGlobalCustomEventFields() { return sharedInstance().currentGlobalCustomEventFields; }

}  // namespace zorvane

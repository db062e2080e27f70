#include "zorvane-play/Directives.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "events/ZVEvents.h"
#include "runtime/ZVThreading.h"

using namespace zorvane;

namespace {

using Arguments = ZVValue::Array;
using Refusal = std::optional<std::string>;

Refusal takesNone(const Arguments& arguments) {
  return arguments.empty() ? std::nullopt : Refusal(fmt::format("takes no arguments, not {}", arguments.size()));
}

std::optional<double> numberOf(const ZVValue& value) {
  if (const auto* whole = value.ifInteger()) return static_cast<double>(*whole);
  if (const auto* fraction = value.ifDouble()) return *fraction;
  return std::nullopt;
}

Refusal takesSeconds(const Arguments& arguments) {
  const auto seconds = arguments.size() == 1 ? numberOf(arguments[0]) : std::nullopt;
  return seconds && *seconds >= 0 && *seconds <= 3600 ? std::nullopt : Refusal("takes a number of seconds, 0 to 3600");
}

void wait(const Arguments& arguments) {
  std::this_thread::sleep_for(std::chrono::duration<double>(*numberOf(arguments[0])));
}

void drain(const Arguments&) {
  while (!ZVThreading::sharedInstance().queue.drain(std::chrono::seconds(1))) continue;
}

constexpr auto kDirectives = std::to_array<Directive>({
    {"@background", takesNone, [](const Arguments&) { ZVPlatform::applicationDidEnterBackground(); }},
    {"@foreground", takesNone, [](const Arguments&) { ZVPlatform::applicationWillEnterForeground(); }},
    {"@wait", takesSeconds, wait},
    {"@drain", takesNone, drain},
    {"@submit", takesNone, [](const Arguments&) { ZVEvents::processEventQueue(false); }},
    {"@kill", takesNone, [](const Arguments&) { std::raise(SIGKILL); }},
});

struct Facts {
  ZVApplicationFacts application;
  ZVDeviceFacts device;
};

bool readInto(const ZVValue& value, std::optional<std::string>& fact) {
  if (value.ifString() != nullptr) fact = *value.ifString();
  else if (value.isNull()) fact.reset();
  else return false;
  return true;
}
bool readInto(const ZVValue& value, std::string& fact) {
  if (value.ifString() != nullptr) fact = *value.ifString();
  return value.ifString() != nullptr;
}
bool readInto(const ZVValue& value, bool& fact) {
  if (value.ifBool() != nullptr) fact = *value.ifBool();
  return value.ifBool() != nullptr;
}
bool readInto(const ZVValue& value, int& fact) {
  const auto* whole = value.ifInteger();
  if (whole == nullptr || !std::in_range<int>(*whole)) return false;
  fact = static_cast<int>(*whole);
  return true;
}

template <auto group, auto member>
bool set(Facts& facts, const ZVValue& value) {
  return readInto(value, (facts.*group).*member);
}

struct FactRow {
  std::string_view name;
  bool (*set)(Facts& facts, const ZVValue& value);
};
constexpr auto kFacts = std::to_array<FactRow>({
    {"bundle_identifier", set<&Facts::application, &ZVApplicationFacts::bundleIdentifier>},
    {"version", set<&Facts::application, &ZVApplicationFacts::version>},
    {"build", set<&Facts::application, &ZVApplicationFacts::build>},
    {"internal_build", set<&Facts::application, &ZVApplicationFacts::internalBuild>},
    {"receipt_path", set<&Facts::application, &ZVApplicationFacts::receiptPath>},
    {"resource_directory", set<&Facts::application, &ZVApplicationFacts::resourceDirectory>},
    {"system_version", set<&Facts::device, &ZVDeviceFacts::systemVersion>},
    {"hardware_name", set<&Facts::device, &ZVDeviceFacts::hardwareName>},
    {"vendor_identifier", set<&Facts::device, &ZVDeviceFacts::vendorIdentifier>},
    {"advertising_identifier", set<&Facts::device, &ZVDeviceFacts::advertisingIdentifier>},
    {"asks_for_tracking", set<&Facts::device, &ZVDeviceFacts::asksForTracking>},
    {"tracking_status", set<&Facts::device, &ZVDeviceFacts::trackingStatus>},
    {"advertising_tracking_enabled", set<&Facts::device, &ZVDeviceFacts::advertisingTrackingEnabled>},
});

}  // namespace

const Directive* findDirective(std::string_view name) {
  const auto* const found = std::ranges::find(kDirectives, name, &Directive::name);
  return found == kDirectives.end() ? nullptr : found;
}

std::optional<std::string> readPlatform(const ZVValue::Array& arguments, ZVPlatform& platform) {
  const ZVMap* given = arguments.size() == 1 ? arguments[0].ifMap() : nullptr;
  if (given == nullptr) return "takes one object";
  Facts facts;
  for (const auto& [name, value] : *given) {
    const auto* const row = std::ranges::find(kFacts, name, &FactRow::name);
    if (row == kFacts.end()) return fmt::format("does not know \"{}\"", name);
    if (!row->set(facts, value)) return fmt::format("can't take that value of \"{}\"", name);
  }
  platform.application = [application = facts.application] { return application; };
  platform.device = [device = facts.device] { return device; };
  return std::nullopt;
}

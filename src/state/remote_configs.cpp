#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "runtime/ZVLogger.h"
#include "state/Records.h"
#include "values/Fields.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::int64_t kAlways = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kForever = std::numeric_limits<std::int32_t>::max();

// Seconds since 1970. A missing bound reads as 0, so an entry without an end is never active.
std::int64_t bound(const ZVMap& entry, std::string_view key, std::int64_t open) {
  const ZVValue* value = entry.find(key);
  if (value == nullptr) return 0;
  return value->isNull() ? open : integerReading(*value);
}

bool isActive(const ZVMap& entry, double now) {
  return static_cast<double>(bound(entry, "start_ts", kAlways)) < now &&
         now < static_cast<double>(bound(entry, "end_ts", kForever));
}

std::string shown(const ZVValue* value) { return value != nullptr ? describe(*value) : "(null)"; }

void addIfActive(ZVMap& configurations, const ZVMap& entry, double now) {
  const ZVValue* key = entry.find("key");
  const ZVValue* value = entry.find("value");
  const bool hasNull = (key != nullptr && key->isNull()) || (value != nullptr && value->isNull());
  if (hasNull || !isActive(entry, now)) return;
  if (key == nullptr || key->ifString() == nullptr || value == nullptr) {
    ZVLogger::w(0, "populateConfigurations failed - unable to add configuration '{}' with value '{}'.", shown(key),
                shown(value));
    return;
  }
  configurations.set(*key->ifString(), *value);
  ZVLogger::d(0, "configuration added: '{}' + '{}'.", shown(key), shown(value));
}

// Absent where the configuration has no list: what is in force stays then.
std::optional<ZVMap> activeEntries(const ZVMap& sdkConfig, double now) {
  const ZVValue* configs = sdkConfig.find("configs");
  const ZVValue::Array* entries = configs != nullptr ? configs->ifArray() : nullptr;
  if (entries == nullptr) return std::nullopt;
  ZVMap active;
  for (const ZVValue& entry : *entries)
    if (const ZVMap* fields = entry.ifMap()) addIfActive(active, *fields, now);
  return active;
}

}  // namespace

void RemoteConfigs::adoptIds(const ZVMap& config) {
  hash_ = textField(config, "configs_hash");
  answers_.with([&](Answers& answers) {
    answers.abId = textField(config, "ab_id");
    answers.abVariantId = textField(config, "ab_variant_id");
  });
}

void RemoteConfigs::populate(const ZVMap& sdkConfig, double now) {
  auto active = activeEntries(sdkConfig, now);
  const bool any = answers_.with([&](Answers& answers) {
    if (active) answers.configurations.swap(active);
    return answers.configurations && !answers.configurations->empty();
  });
  if (any) notifyDelegate();
  isReady_ = true;
}

void RemoteConfigs::notifyDelegate() {
  try {
    const auto delegate = answers_.with([](const Answers& answers) { return answers.delegate.lock(); });
    if (delegate) delegate->onRemoteConfigsUpdated();
  } catch (const std::exception& failure) {
    ZVLogger::e(0, "The remote configurations' delegate failed: {}", failure.what());
  } catch (...) {
    ZVLogger::e(0, "The remote configurations' delegate failed");
  }
}

std::optional<std::string> RemoteConfigs::text(ZVText key, ZVText defaultValue) {
  auto found = answers_.with([&](const Answers& answers) {
    const ZVValue* value = answers.configurations && key.present() ? answers.configurations->find(key.view()) : nullptr;
    return value != nullptr ? std::optional(describe(*value)) : std::nullopt;
  });
  if (found) return found;
  ZVLogger::w(0, "Key '{}' has a NULL value. Returning defaultValue '{}'.", key, defaultValue);
  return defaultValue.copy();
}

std::optional<ZVMap> RemoteConfigs::all() {
  return answers_.with([](const Answers& answers) { return answers.configurations; });
}
std::optional<std::string> RemoteConfigs::abId() {
  return answers_.with([](const Answers& answers) { return answers.abId; });
}
std::optional<std::string> RemoteConfigs::abVariantId() {
  return answers_.with([](const Answers& answers) { return answers.abVariantId; });
}
void RemoteConfigs::setDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate) {
  answers_.with([&](Answers& answers) { answers.delegate.swap(delegate); });
}

void ZVState::adoptConfigIds(const ZVMap& config) { state().remoteConfigs.adoptIds(config); }
void ZVState::populateConfigurations(const ZVMap& sdkConfig) {
  state().remoteConfigs.populate(sdkConfig, getClientTsAdjustedWithServertimeOffset());
}
std::optional<std::string> ZVState::getConfigurationStringValue(ZVText key, ZVText defaultValue) {
  return state().remoteConfigs.text(key, defaultValue);
}
std::string ZVState::getConfigurationsContentAsString() {
  const auto all = state().remoteConfigs.all();
  return all ? describe(*all) : "(null)";
}
bool ZVState::isRemoteConfigsReady() { return state().remoteConfigs.isReady(); }
void ZVState::setRemoteConfigsDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate) {
  state().remoteConfigs.setDelegate(std::move(delegate));
}
std::optional<std::string> ZVState::getABTestingId() { return state().remoteConfigs.abId(); }
std::optional<std::string> ZVState::getABTestingVariantId() { return state().remoteConfigs.abVariantId(); }

}  // namespace zorvane

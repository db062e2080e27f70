#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
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

std::shared_ptr<ZVRemoteConfigsDelegate> currentDelegate() {
  ZVState& state = ZVState::sharedInstance();
  const std::scoped_lock lock(state.answersGuard);
  return state.delegate.lock();
}

void tellDelegate() {
  try {
    if (const auto delegate = currentDelegate()) delegate->onRemoteConfigsUpdated();
  } catch (const std::exception& failure) {
    ZVLogger::e(0, "The remote configurations' delegate failed: {}", failure.what());
  } catch (...) {
    ZVLogger::e(0, "The remote configurations' delegate failed");
  }
}

}  // namespace

void ZVState::adoptConfigIds(const ZVMap& config) {
  ZVState& state = sharedInstance();
  state.configsHash = textField(config, "configs_hash");
  const std::scoped_lock lock(state.answersGuard);
  state.abId = textField(config, "ab_id");
  state.abVariantId = textField(config, "ab_variant_id");
}

void ZVState::populateConfigurations(const ZVMap& sdkConfig) {
  ZVState& state = sharedInstance();
  const std::scoped_lock lock(state.configurationsGuard);
  const ZVValue* configs = sdkConfig.find("configs");
  if (const ZVValue::Array* entries = configs != nullptr ? configs->ifArray() : nullptr) {
    state.configurations.emplace();
    const double now = getClientTsAdjustedWithServertimeOffset();
    for (const ZVValue& entry : *entries)
      if (const ZVMap* fields = entry.ifMap()) addIfActive(*state.configurations, *fields, now);
  }
  if (state.configurations && !state.configurations->empty()) tellDelegate();
  state.remoteConfigsIsReady = true;
}

std::optional<std::string> ZVState::getConfigurationStringValue(ZVText key, ZVText defaultValue) {
  ZVState& state = sharedInstance();
  const std::scoped_lock lock(state.configurationsGuard);
  const ZVValue* value = state.configurations && key.present() ? state.configurations->find(key.view()) : nullptr;
  if (value != nullptr) return describe(*value);
  ZVLogger::w(0, "Key '{}' has a NULL value. Returning defaultValue '{}'.", key, defaultValue);
  return defaultValue.copy();
}

std::string ZVState::getConfigurationsContentAsString() {
  ZVState& state = sharedInstance();
  const std::scoped_lock lock(state.configurationsGuard);
  return state.configurations ? describe(*state.configurations) : "(null)";
}

bool ZVState::isRemoteConfigsReady() { return sharedInstance().remoteConfigsIsReady; }

void ZVState::setRemoteConfigsDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate) {
  ZVState& state = sharedInstance();
  const std::scoped_lock lock(state.answersGuard);
  state.delegate = std::move(delegate);
}

std::optional<std::string> ZVState::getABTestingId() {
  ZVState& state = sharedInstance();
  const std::scoped_lock lock(state.answersGuard);
  return state.abId;
}

std::optional<std::string> ZVState::getABTestingVariantId() {
  ZVState& state = sharedInstance();
  const std::scoped_lock lock(state.answersGuard);
  return state.abVariantId;
}

}  // namespace zorvane

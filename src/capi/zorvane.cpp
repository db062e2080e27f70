// The facade, function by function. Those that hand over text only can't throw; those that copy a map or a list can.
#include <zorvane/ZVCrashReporting.h>
#include <zorvane/Zorvane.h>
#include <zorvane/zorvane_c.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "capi/guard.h"
#include "capi/map.h"

using namespace zorvane;

namespace {

using ConfigureList = void (*)(ZVTextList) noexcept;

void configure(ConfigureList configureList, const char* const* values, std::size_t count) noexcept {
  guarded([=] {
    if (values == nullptr) return configureList(std::nullopt);
    configureList(std::span(values, count));
  });
}

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

std::size_t copyOut(const std::optional<std::string>& text, char* buffer, std::size_t capacity) noexcept {
  const std::string_view whole = ZVText(text).view();
  if (buffer != nullptr && capacity > 0) {
    std::size_t length = std::min(whole.size(), capacity - 1);
    while (length > 0 && length < whole.size() && continuesCharacter(whole[length])) --length;
    buffer[whole.copy(buffer, length)] = '\0';
  }
  return text ? whole.size() : ZORVANE_ABSENT;
}

}  // namespace

const char* zorvane_version(void) { return ZorvaneVersionString; }
double zorvane_version_number(void) { return ZorvaneVersionNumber; }

void zorvane_configure_build(const char* build) { Zorvane::configureBuild(build); }
void zorvane_configure_user_id(const char* user_id) { Zorvane::configureUserId(user_id); }
void zorvane_configure_sdk_version(const char* wrapper_version) { Zorvane::configureSdkVersion(wrapper_version); }
void zorvane_configure_engine_version(const char* engine_version) { Zorvane::configureEngineVersion(engine_version); }
void zorvane_configure_auto_detect_app_version(bool enabled) { Zorvane::configureAutoDetectAppVersion(enabled); }
void zorvane_configure_available_custom_dimensions01(const char* const* values, size_t count) {
  configure(Zorvane::configureAvailableCustomDimensions01, values, count);
}
void zorvane_configure_available_custom_dimensions02(const char* const* values, size_t count) {
  configure(Zorvane::configureAvailableCustomDimensions02, values, count);
}
void zorvane_configure_available_custom_dimensions03(const char* const* values, size_t count) {
  configure(Zorvane::configureAvailableCustomDimensions03, values, count);
}
void zorvane_configure_available_resource_currencies(const char* const* currencies, size_t count) {
  configure(Zorvane::configureAvailableResourceCurrencies, currencies, count);
}
void zorvane_configure_available_resource_item_types(const char* const* item_types, size_t count) {
  configure(Zorvane::configureAvailableResourceItemTypes, item_types, count);
}
void zorvane_configure_game_key(const char* game_key, const char* game_secret) {
  Zorvane::configureGameKey(game_key, game_secret);
}

void zorvane_initialize(const char* game_key, const char* game_secret) {
  Zorvane::initializeWithGameKey(game_key, game_secret);
}
void zorvane_initialize_configured(void) { Zorvane::initializeWithConfiguredGameKeyAndGameSecret(); }
void zorvane_set_uncaught_exception_handlers(void) { setZVUncaughtExceptionHandlers(); }
int zorvane_wait_for_crash_handlers(double seconds) { return static_cast<int>(ZVWaitForCrashHandlers(seconds)); }

void zorvane_set_enabled_info_log(bool enabled) { Zorvane::setEnabledInfoLog(enabled); }
void zorvane_set_enabled_verbose_log(bool enabled) { Zorvane::setEnabledVerboseLog(enabled); }
void zorvane_set_enabled_warning_log(bool enabled) { Zorvane::setEnabledWarningLog(enabled); }
void zorvane_set_enable_debug_log(bool enabled) { Zorvane::setEnableDebugLog(enabled); }
void zorvane_set_enabled_manual_session_handling(bool enabled) { Zorvane::setEnabledManualSessionHandling(enabled); }
void zorvane_set_enabled_error_reporting(bool enabled) { Zorvane::setEnabledErrorReporting(enabled); }
void zorvane_set_enabled_event_submission(bool enabled) { Zorvane::setEnabledEventSubmission(enabled); }
void zorvane_set_base_url(const char* base_url) { Zorvane::setBaseUrl(base_url); }

void zorvane_add_business_event(const char* currency, int64_t amount, const char* item_type, const char* item_id,
                                const char* cart_type, const char* receipt, bool fetch_receipt,
                                const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addBusinessEventWithCurrency(currency, amount, item_type, item_id, cart_type, receipt, fetch_receipt,
                                          copyOf(custom_fields), merge_fields);
  });
}

void zorvane_add_resource_event(int flow_type, const char* currency, double amount, const char* item_type,
                                const char* item_id, const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addResourceEventWithFlowType(ZVResourceFlowType{flow_type}, currency,
                                          std::isnan(amount) ? std::nullopt : std::optional(amount), item_type, item_id,
                                          copyOf(custom_fields), merge_fields);
  });
}

void zorvane_add_progression_event(int status, const char* progression01, const char* progression02,
                                   const char* progression03, const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus{status}, progression01, progression02,
                                                      progression03, copyOf(custom_fields), merge_fields);
  });
}
void zorvane_add_progression_event_with_score(int status, const char* progression01, const char* progression02,
                                              const char* progression03, int64_t score,
                                              const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus{status}, progression01, progression02,
                                                      progression03, score, copyOf(custom_fields), merge_fields);
  });
}

void zorvane_add_design_event(const char* event_id, const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] { Zorvane::addDesignEventWithEventId(event_id, copyOf(custom_fields), merge_fields); });
}
void zorvane_add_design_event_with_value(const char* event_id, double value, const zorvane_map* custom_fields,
                                         bool merge_fields) {
  guarded([=] { Zorvane::addDesignEventWithEventId(event_id, value, copyOf(custom_fields), merge_fields); });
}

void zorvane_add_error_event(int severity, const char* message, const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addErrorEventWithSeverity(ZVErrorSeverity{severity}, message, copyOf(custom_fields), merge_fields);
  });
}

void zorvane_add_ad_event(int action, int ad_type, const char* ad_sdk_name, const char* ad_placement,
                          const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addAdEventWithAction(ZVAdAction{action}, ZVAdType{ad_type}, ad_sdk_name, ad_placement,
                                  copyOf(custom_fields), merge_fields);
  });
}
void zorvane_add_ad_event_with_duration(int action, int ad_type, const char* ad_sdk_name, const char* ad_placement,
                                        int64_t duration, const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addAdEventWithAction(ZVAdAction{action}, ZVAdType{ad_type}, ad_sdk_name, ad_placement, duration,
                                  copyOf(custom_fields), merge_fields);
  });
}
void zorvane_add_ad_event_with_reason(int action, int ad_type, const char* ad_sdk_name, const char* ad_placement,
                                      int no_ad_reason, const zorvane_map* custom_fields, bool merge_fields) {
  guarded([=] {
    Zorvane::addAdEventWithAction(ZVAdAction{action}, ZVAdType{ad_type}, ad_sdk_name, ad_placement,
                                  ZVAdError{no_ad_reason}, copyOf(custom_fields), merge_fields);
  });
}

const char* zorvane_ad_type_name(int ad_type) {
  if (ad_type < ZORVANE_AD_TYPE_VIDEO || ad_type > ZORVANE_AD_TYPE_BANNER) return nullptr;
  return guarded([=] {
    static const auto* const names = [] {  // never destroyed: the caller may keep what it gets
      auto all = std::make_unique<std::vector<std::string>>();
      for (int type = ZORVANE_AD_TYPE_VIDEO; type <= ZORVANE_AD_TYPE_BANNER; ++type)
        all->push_back(Zorvane::adTypeToString(ZVAdType{type}));
      return all.release();
    }();
    return (*names)[static_cast<std::size_t>(ad_type - ZORVANE_AD_TYPE_VIDEO)].c_str();
  });
}

void zorvane_add_impression_event(const char* ad_network_name, const char* ad_network_version,
                                  const zorvane_map* impression_data, const zorvane_map* custom_fields,
                                  bool merge_fields) {
  guarded([=] {
    Zorvane::addImpressionEventWithAdNetworkName(ad_network_name, ad_network_version, copyOf(impression_data),
                                                 copyOf(custom_fields), merge_fields);
  });
}

void zorvane_flush(void) { Zorvane::flush(); }

void zorvane_start_session(void) { Zorvane::startSession(); }
void zorvane_end_session(void) { Zorvane::endSession(); }

void zorvane_set_custom_dimension01(const char* value) { Zorvane::setCustomDimension01(value); }
void zorvane_set_custom_dimension02(const char* value) { Zorvane::setCustomDimension02(value); }
void zorvane_set_custom_dimension03(const char* value) { Zorvane::setCustomDimension03(value); }
void zorvane_set_global_custom_event_fields(const zorvane_map* fields) {
  guarded([=] { Zorvane::setGlobalCustomEventFields(copyOf(fields)); });
}

size_t zorvane_remote_configs_value(const char* key, const char* default_value, char* buffer, size_t capacity) {
  return copyOut(Zorvane::getRemoteConfigsValueAsString(key, default_value), buffer, capacity);
}
size_t zorvane_remote_configs_content(char* buffer, size_t capacity) {
  return copyOut(Zorvane::getRemoteConfigsContentAsString(), buffer, capacity);
}
size_t zorvane_ab_testing_id(char* buffer, size_t capacity) {
  return copyOut(Zorvane::getABTestingId(), buffer, capacity);
}
size_t zorvane_ab_testing_variant_id(char* buffer, size_t capacity) {
  return copyOut(Zorvane::getABTestingVariantId(), buffer, capacity);
}
bool zorvane_is_remote_configs_ready(void) { return Zorvane::isRemoteConfigsReady(); }

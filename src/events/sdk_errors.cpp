#include <string>
#include <string_view>

#include "events/ZVEvents.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "transport/ZVHTTPApi.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::size_t kMaxReasonLength = 256;

// The reason is often the very text that was refused: what is not UTF-8 can't be sent and is left out.
std::string_view sendableReason(ZVText reason) {
  return isValidUtf8(reason.view()) ? prefixOfUtf16Length(reason.view(), kMaxReasonLength) : std::string_view();
}

ZVMap sdkErrorEvent(std::string_view category, std::string_view area, std::string_view action,
                    SdkErrorParameter parameter, ZVText reason) {
  ZVMap event = ZVState::getSdkErrorEventAnnotations();
  event.set("error_category", category);
  event.set("error_area", area);
  event.set("error_action", action);
  if (const auto name = wordOf(parameter)) event.set("error_parameter", *name);
  if (const std::string_view text = sendableReason(reason); !text.empty()) event.set("reason", text);
  return event;
}

}  // namespace

void ZVEvents::sendSdkErrorEventWithCategory(SdkErrorCategory category, SdkErrorArea area, SdkErrorAction action,
                                             SdkErrorParameter parameter, ZVText reason, ZVText gameKey,
                                             ZVText secretKey) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (!ZVValidator::validateSdkErrorEventWithGameKey(gameKey, secretKey, category, area, action)) return;
  const std::string_view categoryName = *wordOf(category);
  const std::string_view areaName = *wordOf(area);
  const std::string type = std::string(categoryName) + ":" + std::string(areaName);
  if (!ZVState::isSdkErrorEventTypeAllowed(type)) {
    ZVLogger::d(0, "Cannot send error event. The type of error has been sent more than 10 times per hour: {}", type);
    return;
  }
  ZVState::incrementSdkErrorEventCount(type);  // before sending, so that one that never arrives counts as well
  const ZVMap event = sdkErrorEvent(categoryName, areaName, *wordOf(action), parameter, reason);
  ZVHTTPApi::sharedInstance().sendSdkErrorEventWithFormData(ZVValue::Array{event}, ZVState::getGameKey(),
                                                            ZVState::getGameSecret());
}

void ZVEvents::sendSdkErrorEventWithCategory(SdkErrorCategory category, SdkErrorArea area, SdkErrorAction action,
                                             ZVText reason, ZVText gameKey, ZVText secretKey) {
  sendSdkErrorEventWithCategory(category, area, action, SdkErrorParameter::none, reason, gameKey, secretKey);
}

void ZVEvents::reportSdkErrorAsEvent(const SdkError& error) {
  sendSdkErrorEventWithCategory(error.category, error.area, error.action, error.parameter, error.reason,
                                ZVState::getGameKey(), ZVState::getGameSecret());
}

}  // namespace zorvane

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "events/rejected.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"

namespace zorvane {

namespace {
bool isTimed(ZVAdType adType) { return adType == ZVAdType::video || adType == ZVAdType::rewardedVideo; }
}  // namespace

void ZVEvents::addAdEventWithAction(ZVAdAction action, ZVAdType adType, ZVText adSdkName, ZVText adPlacement,
                                    ZVAdError noAdReason, std::int64_t duration, bool sendDuration, const ZVMap& fields,
                                    bool mergeFields) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (reportRejected(ZVValidator::validateAdEventWithAction(action, adType, adSdkName, adPlacement))) return;
  const std::string_view actionName = *wordOf(action);
  const std::string_view typeName = *wordOf(adType);
  const auto reason = wordOf(noAdReason);
  ZVMap event{{"category", Category::ads},
              {"ad_sdk_name", adSdkName.view()},
              {"ad_placement", adPlacement.view()},
              {"ad_type", typeName},
              {"ad_action", actionName}};
  if (reason && action == ZVAdAction::failedShow) event.set("ad_fail_show_reason", *reason);
  if (sendDuration && isTimed(adType)) event.set("ad_duration", duration);
  addDimensionsAndFields(event, fields, mergeFields);
  ZVLogger::i(0,
              "Add AD event: {{ad_sdk_name:{}, ad_placement:{}, ad_type:{}, ad_action:{}, ad_fail_show_reason:{}, "
              "ad_duration:{}}}",
              adSdkName, adPlacement, typeName, actionName, reason ? ZVText(*reason) : ZVText(), duration);
  addEventToStoreWithEventData(event);
}

}  // namespace zorvane

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "events/rejected.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"

namespace zorvane {

void ZVEvents::addImpressionEventWithAdNetworkName(ZVText adNetworkName, ZVText adNetworkVersion,
                                                   const ZVMap& impressionData, const ZVMap& fields, bool mergeFields) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (reportRejected(
          ZVValidator::validateImpressionEventWithAdNetworkName(adNetworkName, adNetworkVersion, impressionData)))
    return;
  ZVMap event{{"category", Category::impression},
              {"ad_network_name", adNetworkName.view()},
              {"ad_network_version", adNetworkVersion.view()},
              {"impression_data", impressionData}};
  addDimensionsAndFields(event, fields, mergeFields);
  ZVLogger::i(0, "Add IMPRESSION event: {{ad_network_name:{}, impression_data:#impressionData}}", adNetworkName);
  addEventToStoreWithEventData(event);
}

}  // namespace zorvane

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "events/rejected.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"
#include "values/Text.h"

namespace zorvane {

void ZVEvents::addResourceEventWithFlowType(ZVResourceFlowType flowType, ZVText currency, std::optional<double> amount,
                                            ZVText itemType, ZVText itemId, const ZVMap& fields, bool mergeFields) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (reportRejected(ZVValidator::validateResourceEventWithFlowType(flowType, currency, amount, itemType, itemId,
                                                                    ZVState::availableResourceCurrencies(),
                                                                    ZVState::availableResourceItemTypes())))
    return;
  // What is spent has always been kept in single precision, as it is compared.
  const double kept =
      flowType == ZVResourceFlowType::sink ? -static_cast<double>(static_cast<float>(*amount)) : *amount;
  ZVMap event{{"category", Category::resource},
              {"event_id", fmt::format("{}:{}:{}:{}", *wordOf(flowType), currency, itemType, itemId)},
              {"amount", kept}};
  addDimensionsAndFields(event, fields, mergeFields);
  ZVLogger::i(0, "Add RESOURCE event: {{currency:{}, amount:{}, itemType:{}, itemId:{}}}", currency, decimalText(kept),
              itemType, itemId);
  addEventToStoreWithEventData(event);
}

}  // namespace zorvane

#include <string>

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "events/rejected.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"

namespace zorvane {

void ZVEvents::addBusinessEventWithCurrency(ZVText currency, std::int64_t amount, ZVText itemType, ZVText itemId,
                                            ZVText cartType, ZVText receipt, const ZVMap& fields, bool mergeFields) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (reportRejected(ZVValidator::validateBusinessEventWithCurrency(currency, amount, cartType, itemType, itemId)))
    return;
  ZVState::incrementTransactionNum();  // this purchase's among all of the player's, remembered across runs
  const std::int64_t number = ZVState::getTransactionNum();
  ZVMap event{{"category", Category::business},
              {"event_id", fmt::format("{}:{}", itemType, itemId)},
              {"currency", currency.view()},
              {"amount", amount},
              {"transaction_num", number}};
  if (!cartType.empty()) event.set("cart_type", cartType.view());
  if (receipt.present()) event.set("receipt_info", ZVMap{{"receipt", receipt.view()}, {"store", "apple"}});
  addDimensionsAndFields(event, fields, mergeFields);
  ZVLogger::i(0, "Add BUSINESS event: {{currency:{}, amount:{}, itemType:{}, itemId:{}, cartType:{}, receipt:{}}}",
              currency, amount, itemType, itemId, cartType, receipt.present() ? ZVText("#RECEIPT#") : ZVText());
  addEventToStoreWithEventData(event, Counter{"transaction_num", std::to_string(number)});
}

}  // namespace zorvane

#include <optional>
#include <string_view>

#include "events/ZVEvents.h"
#include "events/custom_fields.h"
#include "events/rejected.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "validation/ZVValidator.h"
#include "values/EventWords.h"
#include "values/Text.h"

namespace zorvane {

namespace {
constexpr std::size_t kLoggedMessageLength = 15;
}  // namespace

void ZVEvents::addErrorEventWithSeverity(ZVErrorSeverity severity, ZVText message, const ZVMap& fields,
                                         bool mergeFields, bool skipAddingFields, ZVText uuid) {
  if (!ZVState::isEventSubmissionEnabled()) return;
  if (reportRejected(ZVValidator::validateErrorEventWithSeverity(severity, message))) return;
  const std::string_view severityName = *wordOf(severity);
  ZVMap event{{"category", Category::error}, {"severity", severityName}, {"message", message.view()}};
  if (uuid.present()) event.set("event_uuid", uuid.view());
  if (skipAddingFields) addDimensionsToEventWithEventData(event);
  else addDimensionsAndFields(event, fields, mergeFields);
  ZVLogger::i(0, "Add ERROR event: {{severity:{}, message:{}}}", severityName,
              message.present() ? ZVText(prefixOfUtf16Length(message.view(), kLoggedMessageLength)) : message);
  addEventToStoreWithEventData(event);
}

}  // namespace zorvane

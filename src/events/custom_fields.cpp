#include "events/custom_fields.h"

#include "events/ZVEvents.h"
#include "state/ZVState.h"

void addCustomFields(ZVMap& event, const ZVMap& callFields, bool mergeFields) {
  const ZVMap& globalFields = ZVState::getGlobalCustomEventFields();
  ZVMap fields = callFields.empty() ? globalFields : callFields;
  if (mergeFields && !callFields.empty())
    for (const auto& [key, value] : globalFields)
      if (!callFields.contains(key)) fields.set(key, value);
  ZVEvents::addFieldsToEventWithEventData(event, ZVState::validateAndCleanCustomFields(fields));
}

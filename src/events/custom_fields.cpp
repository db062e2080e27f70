#include "events/custom_fields.h"

#include "events/ZVEvents.h"
#include "state/ZVState.h"

namespace zorvane {

namespace {

// The call's fields, and what they lack of the global ones.
ZVMap merged(ZVMap fields, const ZVMap& globalFields) {
  for (const auto& [key, value] : globalFields)
    if (!fields.contains(key)) fields.set(key, value);
  return fields;
}

ZVMap chosenFields(const ZVMap& callFields, bool mergeFields) {
  const ZVMap& globalFields = ZVState::getGlobalCustomEventFields();
  if (callFields.empty()) return ZVState::validateAndCleanCustomFields(globalFields);
  if (!mergeFields) return ZVState::validateAndCleanCustomFields(callFields);
  return ZVState::validateAndCleanCustomFields(merged(callFields, globalFields));
}

}  // namespace

void addDimensionsAndFields(ZVMap& event, const ZVMap& callFields, bool mergeFields) {
  ZVEvents::addDimensionsToEventWithEventData(event);
  ZVEvents::addFieldsToEventWithEventData(event, chosenFields(callFields, mergeFields));
}

}  // namespace zorvane

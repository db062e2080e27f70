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
  constexpr auto clean = ZVEvents::validateAndCleanCustomFields;
  if (!callFields.empty() && !mergeFields) return clean(callFields);
  const ZVMap& globalFields = ZVState::cleanedGlobalCustomEventFields(clean);
  return callFields.empty() ? globalFields : clean(merged(callFields, globalFields));
}

}  // namespace

void addDimensionsAndFields(ZVMap& event, const ZVMap& callFields, bool mergeFields) {
  ZVEvents::addDimensionsToEventWithEventData(event);
  ZVEvents::addFieldsToEventWithEventData(event, chosenFields(callFields, mergeFields));
}

}  // namespace zorvane

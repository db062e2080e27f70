#include <zorvane/Zorvane.h>

#include <utility>

#include "api/frame.h"
#include "events/ZVEvents.h"

void Zorvane::addDesignEventWithEventId(ZVText eventId) noexcept {
  addDesignEventWithEventId(eventId, std::nullopt, ZVMap());
}

void Zorvane::addDesignEventWithEventId(ZVText eventId, ZVMap customFields, bool mergeFields) noexcept {
  addDesignEventWithEventId(eventId, std::nullopt, std::move(customFields), mergeFields);
}

void Zorvane::addDesignEventWithEventId(ZVText eventId, std::optional<double> value) noexcept {
  addDesignEventWithEventId(eventId, value, ZVMap());
}

void Zorvane::addDesignEventWithEventId(ZVText eventId, std::optional<double> value, ZVMap customFields,
                                        bool mergeFields) noexcept {
  post([&] {
    return [eventId = eventId.copy(), value = value.value_or(0), fields = std::move(customFields), mergeFields] {
      if (isSdkReadyWithNeedsInitialized(true, true, "Could not add design event"))
        ZVEvents::addDesignEventWithEventId(eventId, value, fields, mergeFields);
    };
  });
}

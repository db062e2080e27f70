#include "events/rejected.h"

#include "events/ZVEvents.h"
#include "state/ZVState.h"

namespace zorvane {

bool reportRejected(const std::optional<ValidationResult>& refusal) {
  if (!refusal) return false;
  ZVEvents::sendSdkErrorEventWithCategory(refusal->category, refusal->area, refusal->action, refusal->parameter,
                                          refusal->reason, ZVState::getGameKey(), ZVState::getGameSecret());
  return true;
}

}  // namespace zorvane

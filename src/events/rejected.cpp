#include "events/rejected.h"

#include "runtime/SdkErrorReporter.h"

namespace zorvane {

bool reportRejected(const std::optional<ValidationResult>& refusal) {
  if (!refusal) return false;
  reportSdkError(*refusal);
  return true;
}

}  // namespace zorvane

// What becomes of an event whose arguments were refused.
//
// Thread: the work queue.
#pragma once

#include <optional>

#include "validation/ValidationResult.h"

namespace zorvane {

// Reports a refusal to the collector. False: there was none.
bool reportRejected(const std::optional<ValidationResult>& refusal);

}  // namespace zorvane

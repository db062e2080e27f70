// What was wrong with an event's arguments, in the codes of SDK error events.
#pragma once

#include "values/SdkError.h"

namespace zorvane {

using ValidationResult = SdkError;

}  // namespace zorvane

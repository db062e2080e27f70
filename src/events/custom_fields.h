// What every event of the game's carries besides its own fields: the dimensions, and custom fields, which are the
// call's own, the global ones, or both merged; cleaned.
//
// Thread: the work queue.
#pragma once

#include <zorvane/ZVTypes.h>

namespace zorvane {

// Adds both to `event`. Without fields of the call's own the global ones are taken; with `mergeFields` the global ones
// fill in what the call's lack.
void addDimensionsAndFields(ZVMap& event, const ZVMap& callFields, bool mergeFields);

}  // namespace zorvane

// The custom fields of one event: the call's own, the global ones, or both merged; cleaned.
//
// Thread: the work queue.
#pragma once

#include <zorvane/ZVTypes.h>

// Adds them to `event`. Without fields of the call's own the global ones are taken; with `mergeFields` the global ones
// fill in what the call's lack.
void addCustomFields(ZVMap& event, const ZVMap& callFields, bool mergeFields);

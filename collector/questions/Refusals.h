// Why records were refused. They stand in the archive of the collector that refused them, and nowhere else.
//
// Thread: any.
#pragma once

#include "collector/archive/Readers.h"
#include "collector/questions/Query.h"
#include "collector/questions/Table.h"

namespace collector {

// The day of arrival if it is asked for, reason, records; the most frequent first. What the records themselves say is
// left out of the reasons. The filter's segment isn't looked at.
Table refusals(Readers& archive, const Filter& filter, bool byDay);

}  // namespace collector

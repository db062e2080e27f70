// What the collector answers, as JSON text.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "collector/Archive.h"
#include "collector/RecordRules.h"

namespace collector {

std::string quoted(std::string_view text);
std::string reasonsView(const Reasons& reasons);                            // {"reasons":[...]}
std::string reasonsList(const Reasons& reasons);                            // [...]
std::string rejectedView(const std::vector<Exchange::Rejected>& rejected);  // [{"index":0,"reasons":[...]}]
std::string summaryView(const ArchiveSummary& summary);
std::string eventsView(const std::vector<ArchivedEvent>& events);

}  // namespace collector

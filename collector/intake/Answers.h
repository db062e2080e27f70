// What is answered to a request that isn't taken whole.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <vector>

#include "collector/archive/Taken.h"

namespace collector {

using Reasons = std::vector<std::string>;

// ["currency: \"Eur\" is not ..."]
std::string reasonsList(const Reasons& reasons);
// {"reasons":[...]}, of a request
std::string reasonsView(const Reasons& reasons);
// [{"index":3,"reasons":[...]}], of a list's records
std::string rejectedView(const std::vector<Rejected>& rejected);

}  // namespace collector

// What every record and every init body must look like: which fields, of which type, within which limits. Fields that
// no rule names are accepted.
//
// Thread: any; pure functions.
#pragma once

#include <string>
#include <vector>

#include "collector/Json.h"

namespace collector {

using Reasons = std::vector<std::string>;

// Empty when nothing is wrong.
Reasons faultsOfRecord(const JsonValue& record);
Reasons faultsOfInitBody(const JsonValue& body);

}  // namespace collector

// What the collector does, as JSON, for the page that people look at: the numbers of its metrics.
//
// Thread: any; a pure function.
#pragma once

#include <string>

#include "collector/Watched.h"

namespace collector {

std::string statusJson(const Watched& watched);

}  // namespace collector

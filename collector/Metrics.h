// What the collector does, as Prometheus reads it.
//
// Thread: any; a pure function.
#pragma once

#include <string>

#include "collector/Watched.h"

namespace collector {

std::string metricsText(const Watched& watched);

}  // namespace collector

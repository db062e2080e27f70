// Points in time as logs write them.
//
// Thread: any; pure functions.
#pragma once

#include <chrono>
#include <string>

namespace collector {

std::string utcText(std::chrono::system_clock::time_point at);  // 2026-11-22T06:23:15.123Z

}  // namespace collector

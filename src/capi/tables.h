// The host's tables of functions, as the interfaces of the platform edge that they stand for.
//
// Thread:   any; the tables' own comments in zorvane_c.h say what the host must bear.
// Lifetime: that of the platform that they are put in.
#pragma once

#include <functional>
#include <memory>

#include <zorvane/ZVPlatform.h>
#include <zorvane/zorvane_c.h>

namespace zorvane {

class HostFunctions;

std::shared_ptr<ZVClock> hostClock(const zorvane_clock& table, std::shared_ptr<HostFunctions> functions);
std::shared_ptr<ZVUserDefaults> hostUserDefaults(const zorvane_user_defaults& table,
                                                 std::shared_ptr<HostFunctions> functions);
std::shared_ptr<ZVBackgroundTasks> hostBackgroundTasks(const zorvane_background_tasks& table,
                                                       std::shared_ptr<HostFunctions> functions);
std::shared_ptr<ZVReachabilitySource> hostReachability(const zorvane_reachability& table,
                                                       std::shared_ptr<HostFunctions> functions);
std::function<ZVDeviceFacts()> hostDevice(const zorvane_device_source& table, std::shared_ptr<HostFunctions> functions);

// What the struct says.
ZVDeviceFacts factsOf(const zorvane_device& device);

}  // namespace zorvane

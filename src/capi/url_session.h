// The host's table of functions for requests.
#pragma once

#include <functional>
#include <memory>

#include <zorvane/ZVPlatform.h>
#include <zorvane/zorvane_c.h>

namespace zorvane {

class HostFunctions;

// Makes the sessions that hand their requests to the host.
std::function<std::shared_ptr<ZVURLSession>()> hostURLSessions(const zorvane_url_session& table,
                                                               std::shared_ptr<HostFunctions> functions);

// Those that the host has not completed end without an answer.
void failHostRequests();

}  // namespace zorvane

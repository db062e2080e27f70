// What is wrong with a request, as application/problem+json.
//
// Thread: any; a pure functions.
#pragma once

#include <string_view>

#include "collector/api/Access.h"
#include "collector/front/Http.h"

namespace collector {

// Not for games: a failure is said, too. {"type": "about:blank", "title": "Bad Request", "status": 400, "detail":
// "..."}
front::Response problem(int status, std::string_view detail);
// With the way to ask for it.
front::Response problem(const Access::Refusal& refusal);

}  // namespace collector

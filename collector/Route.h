// Which part of the collector a request is for.
//
// Thread: any; pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "collector/front/Http.h"

namespace collector {

enum class Purpose { init, events, api, health, ready, metrics, console };

struct Route {
  Purpose purpose;
  std::string game = {};  // of a report: the key that it names, known or not
};

// Absent: there is nothing.
std::optional<Route> routeOf(std::string_view method, std::string_view target);
inline std::optional<Route> routeOf(const front::Head& head) { return routeOf(head.method, head.target); }

}  // namespace collector

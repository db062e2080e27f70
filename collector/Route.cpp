#include "collector/Route.h"

#include "collector/api/Api.h"
#include "collector/base/Text.h"
#include "collector/console/Console.h"

namespace collector {

namespace {

constexpr std::string_view kEventsBefore = "/v2/";
constexpr std::string_view kEventsBehind = "/events";

std::string_view pathOf(std::string_view target) { return target.substr(0, target.find('?')); }

std::optional<Route> routeOfReport(std::string_view target, std::string_view path) {
  if (path == "/remote_configs/v1/init") return Route{Purpose::init, percentDecoded(queryValue(target, "game_key"))};
  if (path.size() <= kEventsBefore.size() + kEventsBehind.size() || !path.starts_with(kEventsBefore) ||
      !path.ends_with(kEventsBehind))
    return std::nullopt;
  const auto key = path.substr(kEventsBefore.size(), path.size() - kEventsBefore.size() - kEventsBehind.size());
  if (key.find('/') != std::string_view::npos) return std::nullopt;
  return Route{Purpose::events, percentDecoded(key)};
}

}  // namespace

std::optional<Route> routeOf(std::string_view method, std::string_view target) {
  const auto path = pathOf(target);
  if (Api::isPath(path)) return Route{Purpose::api};
  if (method == "POST") return routeOfReport(target, path);
  if (method != "GET" && method != "HEAD") return std::nullopt;
  if (path == "/health") return Route{Purpose::health};
  if (path == "/ready") return Route{Purpose::ready};
  if (path == "/metrics") return Route{Purpose::metrics};
  if (isOfConsole(path)) return Route{Purpose::console};
  return std::nullopt;
}

}  // namespace collector

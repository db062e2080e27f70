// The page on which people see their game, and the files that it names. They hold no numbers, so that everybody may
// have them: what the page shows it asks of the API.
//
// Thread: any; pure functions.
#pragma once

#include <string_view>

#include "collector/front/Http.h"

namespace collector {

bool isOfConsole(std::string_view path);
front::Response consoleAnswer(const front::Head& head);  // for such a path

}  // namespace collector

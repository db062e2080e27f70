// Random identifiers.
//
// Thread: any.
#pragma once

#include <string>

namespace zorvane {

std::string randomUuid();       // canonical, lower case
std::string randomUpperUuid();  // the same as the platform gives it, upper case

}  // namespace zorvane

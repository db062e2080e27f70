/// @file
/// The version of the library that is linked. It may be newer than the headers that the game was compiled with.
///
/// - Thread: any; constants.
#pragma once

#include <zorvane/ZVExport.h>

ZORVANE_API extern const double ZorvaneVersionNumber;       ///< major.minor: 1.4
ZORVANE_API extern const char* const ZorvaneVersionString;  ///< major.minor.patch: "1.4.2"

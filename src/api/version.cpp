#include <zorvane/ZVVersion.h>

const double ZorvaneVersionNumber = ZORVANE_VERSION_NUMBER;
const char* const ZorvaneVersionString = ZORVANE_VERSION;

#include "capi/guard.h"

#include "api/frame.h"
#include "platform/Process.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

void logFailure() noexcept { logFailedCall(); }
void logError(std::string_view line) noexcept { ZVLogger::e(0, "{}", line); }
bool isForkedChild() noexcept { return inForkedChild(); }

}  // namespace zorvane

// How every room reports trouble to the collector, also those that know nothing of events.
//
// Thread: reportSdkError() from any; the reporter is set once, before the first task.
#pragma once

#include "values/SdkError.h"

namespace zorvane {

using SdkErrorReporter = void (*)(const SdkError& error);
void setSdkErrorReporter(SdkErrorReporter reporter) noexcept;

// Hands `error` to the reporter; without one it is lost.
void reportSdkError(const SdkError& error);

}  // namespace zorvane

#include "runtime/SdkErrorReporter.h"

#include <atomic>

namespace zorvane {

namespace {

constinit std::atomic<SdkErrorReporter> reporterInForce{nullptr};

}  // namespace

void setSdkErrorReporter(SdkErrorReporter reporter) noexcept {
  reporterInForce.store(reporter, std::memory_order_release);
}

void reportSdkError(const SdkError& error) {
  if (const SdkErrorReporter reporter = reporterInForce.load(std::memory_order_acquire)) reporter(error);
}

}  // namespace zorvane

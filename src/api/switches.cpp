#include <zorvane/Zorvane.h>

#include "api/frame.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "transport/ZVHTTPApi.h"

using namespace zorvane;

namespace {

// A switch says of itself that it was turned, while it is on: before it goes off, after it came on.
void turn(bool enabled, void (*set)(bool), void (*say)(bool)) noexcept {
  post([=] {
    return [=] {
      if (enabled) set(true);
      say(enabled);
      if (!enabled) set(false);
    };
  });
}

const char* word(bool enabled) { return enabled ? "enabled" : "disabled"; }

}  // namespace

void Zorvane::setEnabledInfoLog(ZVFlag enabled) noexcept {
  turn(enabled, ZVLogger::setAnalyticsLog, [](bool on) { ZVLogger::i(0, "Info logging {}", word(on)); });
}

void Zorvane::setEnabledVerboseLog(ZVFlag enabled) noexcept {
  turn(enabled, ZVLogger::setVerboseLog, [](bool on) { ZVLogger::ii(0, "Verbose logging {}", word(on)); });
}

void Zorvane::setEnabledWarningLog(ZVFlag enabled) noexcept {
  turn(enabled, ZVLogger::setWarningLog, [](bool on) { ZVLogger::w(0, "Warning logging {}", word(on)); });
}

void Zorvane::setEnableDebugLog(ZVFlag enabled) noexcept {
  // Before the library starts, whose first task writes such lines.
  callBeforeLoading([&] { ZVLogger::sharedInstance().debugEnabled = enabled; });
}

void Zorvane::setEnabledManualSessionHandling(ZVFlag enabled) noexcept {
  turn(enabled, ZVState::setManualSessionHandling,
       [](bool on) { ZVLogger::ii(0, "Manual session handling {}.", word(on)); });
}

void Zorvane::setEnabledErrorReporting(ZVFlag enabled) noexcept {
  post([=] { return [=] { ZVState::setEnableErrorReporting(enabled); }; });
}

void Zorvane::setEnabledEventSubmission(ZVFlag enabled) noexcept {
  post([=] {
    return [=] {
      ZVState::setEnableEventSubmission(enabled);
      ZVLogger::i(0, "Event submission {}.", word(enabled));
    };
  });
}

void Zorvane::setBaseUrl(ZVText baseUrl) noexcept {
  call([&] { ZVHTTPApi::sharedInstance().setBaseUrl(baseUrl); });
}

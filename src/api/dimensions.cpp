#include <zorvane/Zorvane.h>

#include <utility>

#include "api/frame.h"
#include "crash/first_form.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"

using namespace zorvane;

namespace {

void setDimension(ZVText value, bool (*isValid)(ZVText), void (*set)(ZVText), const char* name) noexcept {
  post([&] {
    return [value = value.copy(), isValid, set, name] {
      if (!isValid(value)) {
        ZVLogger::w(0, "Could not set {} dimension value to '{}'. Value not found in available {} dimension values",
                    name, ZVText(value), name);
        return;
      }
      set(value);
      rememberDimensionsForCrash();
    };
  });
}

}  // namespace

void Zorvane::setCustomDimension01(ZVText value) noexcept {
  setDimension(value, ZVState::validateDimension01, ZVState::setCustomDimension01, "custom01");
}
void Zorvane::setCustomDimension02(ZVText value) noexcept {
  setDimension(value, ZVState::validateDimension02, ZVState::setCustomDimension02, "custom02");
}
void Zorvane::setCustomDimension03(ZVText value) noexcept {
  // The third dimension's failure has always spoken of the second; log filters rely on it.
  setDimension(value, ZVState::validateDimension03, ZVState::setCustomDimension03, "custom02");
}

void Zorvane::setGlobalCustomEventFields(ZVMap fields) noexcept {
  post([&] { return [fields = std::move(fields)] { ZVState::setGlobalCustomEventFields(fields); }; });
}

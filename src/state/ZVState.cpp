#include "state/ZVState.h"

#include <utility>

#include "device/ZVDevice.h"
#include "runtime/SharedInstance.h"
#include "state/Records.h"

namespace zorvane {

namespace {
constinit SharedInstance<ZVState> shared;
}  // namespace

ZVState::ZVState() : records_(std::make_unique<Records>()) {
  ZVDevice::sharedInstance();  // begins to follow the connection
}

ZVState::~ZVState() = default;

ZVState& ZVState::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVState> ZVState::setSharedInstance(std::unique_ptr<ZVState> instance) {
  return shared.exchange(std::move(instance));
}

}  // namespace zorvane

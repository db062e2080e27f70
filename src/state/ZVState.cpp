#include "state/ZVState.h"

#include <zorvane/ZVNotificationCenter.h>

#include <utility>

#include "device/ZVDevice.h"
#include "platform/Platform.h"
#include "runtime/SharedInstance.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

namespace {
constinit SharedInstance<ZVState> shared;
}  // namespace

ZVState::ZVState() {
  ZVDevice::sharedInstance();  // begins to follow the connection
  setupSleepObserve();
}

ZVState::~ZVState() {
  ZVNotificationCenter::removeObserver(backgroundObserver_);
  ZVNotificationCenter::removeObserver(foregroundObserver_);
}

ZVState& ZVState::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVState> ZVState::setSharedInstance(std::unique_ptr<ZVState> instance) {
  return shared.exchange(std::move(instance));
}

void ZVState::setupSleepObserve() {
  backgroundObserver_ = ZVNotificationCenter::addObserver(kDidEnterBackgroundNotification,
                                                          [this](const ZVNotification&) { headingToBackground(); });
  foregroundObserver_ = ZVNotificationCenter::addObserver(kWillEnterForegroundNotification,
                                                          [this](const ZVNotification&) { headingToForeground(); });
}

void ZVState::headingToBackground() {
  ZVLogger::i(0, "Status change: headingToBackground. Will pause SDK and end session.");
  pause();
}

void ZVState::headingToForeground() {
  ZVLogger::i(0, "Status change: headingToForeground. Will try to resume SDK and start a new session.");
  resume();
}

}  // namespace zorvane

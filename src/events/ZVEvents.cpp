#include "events/ZVEvents.h"

#include <utility>

#include "runtime/SharedInstance.h"

namespace zorvane {

namespace {

constinit SharedInstance<ZVEvents> shared;

}  // namespace

ZVEvents& ZVEvents::sharedInstance() { return shared.get(); }

std::unique_ptr<ZVEvents> ZVEvents::setSharedInstance(std::unique_ptr<ZVEvents> instance) {
  return shared.exchange(std::move(instance));
}

}  // namespace zorvane

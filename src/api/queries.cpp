#include <zorvane/Zorvane.h>

#include <utility>

#include "api/frame.h"
#include "state/ZVState.h"

using namespace zorvane;

namespace {

// Runs a query on the caller's thread; a query that can't be run answers as if there was nothing.
template <class Query>
auto answer(Query query) noexcept {
  decltype(query()) result{};
  call([&] { result = query(); });
  return result;
}

}  // namespace

std::optional<std::string> Zorvane::getRemoteConfigsValueAsString(ZVText key) noexcept {
  return getRemoteConfigsValueAsString(key, {});
}

std::optional<std::string> Zorvane::getRemoteConfigsValueAsString(ZVText key, ZVText defaultValue) noexcept {
  return answer([&] { return ZVState::getConfigurationStringValue(key, defaultValue); });
}

bool Zorvane::isRemoteConfigsReady() noexcept { return answer(ZVState::isRemoteConfigsReady); }

void Zorvane::setRemoteConfigsDelegate(std::weak_ptr<ZVRemoteConfigsDelegate> delegate) noexcept {
  call([&] { ZVState::setRemoteConfigsDelegate(std::move(delegate)); });
}

std::string Zorvane::getRemoteConfigsContentAsString() noexcept {
  return answer(ZVState::getConfigurationsContentAsString);
}

std::optional<std::string> Zorvane::getABTestingId() noexcept { return answer(ZVState::getABTestingId); }

std::optional<std::string> Zorvane::getABTestingVariantId() noexcept { return answer(ZVState::getABTestingVariantId); }

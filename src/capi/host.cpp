#include "capi/host.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>

#include "values/Lasting.h"

namespace zorvane {

namespace {

thread_local int callsUnderWay = 0;  // of this thread

}  // namespace

struct HostFunctions::Registry {
  std::mutex mutex;
  std::condition_variable left;
  std::set<HostFunctions*> all;  // guarded by mutex
};

HostFunctions::Registry& HostFunctions::registry() noexcept { return lasting<Registry>(); }

HostFunctions::HostFunctions() {
  const std::scoped_lock lock(registry().mutex);
  registry().all.insert(this);
}

HostFunctions::~HostFunctions() {
  const std::scoped_lock lock(registry().mutex);
  registry().all.erase(this);
  registry().left.notify_all();
}

bool HostFunctions::enter() noexcept {
  const std::scoped_lock lock(registry().mutex);
  if (detached_) return false;
  ++threadsInside_;
  ++callsUnderWay;
  return true;
}

void HostFunctions::leave() noexcept {
  const std::scoped_lock lock(registry().mutex);
  --threadsInside_;
  --callsUnderWay;
  registry().left.notify_all();
}

void HostFunctions::detach() noexcept {
  std::unique_lock lock(registry().mutex);
  detached_ = true;
  if (callsUnderWay == 0) registry().left.wait(lock, [this] { return threadsInside_ == 0; });
}

void HostFunctions::detachAll() noexcept {
  Registry& given = registry();
  std::unique_lock lock(given.mutex);
  for (HostFunctions* const functions : given.all) functions->detached_ = true;
  if (callsUnderWay > 0) return;
  given.left.wait(lock, [&] {
    return std::ranges::none_of(given.all, [](const HostFunctions* functions) {
      return functions->detached_ && functions->threadsInside_ > 0;
    });
  });
}

HostFunctions::Visit::Visit(HostFunctions& visited) noexcept : functions(visited), allowed(visited.enter()) {}

HostFunctions::Visit::~Visit() {
  if (allowed) functions.leave();
}

}  // namespace zorvane

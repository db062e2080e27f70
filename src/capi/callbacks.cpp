#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/ZVRemoteConfigsDelegate.h>
#include <zorvane/Zorvane.h>
#include <zorvane/zorvane_c.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "capi/guard.h"
#include "capi/host.h"
#include "capi/url_session.h"

using namespace zorvane;

namespace {

// The host's function of one kind.
template <class... Arguments>
class HostCallback {
 public:
  using Function = void (*)(Arguments..., void* user);

  // Returns once the former function is left by every thread; not from inside a function of the host.
  void set(Function function, void* user) {
    auto next = function != nullptr ? std::make_shared<Registration>(function, user) : nullptr;
    {
      const std::scoped_lock lock(mutex_);
      current_.swap(next);
    }
    if (next != nullptr) next->functions.detach();
  }

  void call(Arguments... arguments) {
    if (const auto registration = current())
      registration->functions.call([&] { registration->function(arguments..., registration->user); });
  }

 private:
  struct Registration {
    Registration(Function called, void* with) : function(called), user(with) {}
    const Function function;
    void* const user;
    HostFunctions functions;
  };

  std::shared_ptr<Registration> current() {
    const std::scoped_lock lock(mutex_);
    return current_;
  }

  std::mutex mutex_;
  std::shared_ptr<Registration> current_;  // guarded by mutex_
};

// None is ever destroyed: the library's threads outlive static destruction.
auto& logCallback() {
  static auto* const callback = new HostCallback<int, const char*>;
  return *callback;
}
auto& remoteConfigsCallback() {
  static auto* const callback = new HostCallback<>;
  return *callback;
}
auto& sessionStartedCallback() {
  static auto* const callback = new HostCallback<>;
  return *callback;
}
auto& reachabilityCallback() {
  static auto* const callback = new HostCallback<>;
  return *callback;
}

void passLine(const ZVNotification& notification) {
  const ZVValue* const type = notification.userInfo.find("type");
  const ZVValue* const line = notification.userInfo.find("message");
  logCallback().call(static_cast<int>(*type->ifInteger()), line->ifString()->c_str());
}

class Delegate final : public ZVRemoteConfigsDelegate {
  void onRemoteConfigsUpdated() override { remoteConfigsCallback().call(); }
};

std::weak_ptr<ZVRemoteConfigsDelegate> delegate() {
  static auto* const shared = new std::shared_ptr<Delegate>(std::make_shared<Delegate>());
  return *shared;
}

}  // namespace

void zorvane_set_log_callback(zorvane_log_callback callback, void* user) {
  if (isForkedChild()) return;
  guarded([&] {
    [[maybe_unused]] static const auto observer =
        ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, passLine);
    logCallback().set(callback, user);
  });
}

void zorvane_set_remote_configs_callback(zorvane_remote_configs_callback callback, void* user) {
  if (isForkedChild()) return;
  guarded([&] {
    remoteConfigsCallback().set(callback, user);
    Zorvane::setRemoteConfigsDelegate(callback != nullptr ? delegate() : std::weak_ptr<ZVRemoteConfigsDelegate>());
  });
}

void zorvane_set_session_started_callback(zorvane_session_started_callback callback, void* user) {
  if (isForkedChild()) return;
  guarded([&] {
    [[maybe_unused]] static const auto observer = ZVNotificationCenter::addObserver(
        k_ZV_SessionDidStartNotification, [](const ZVNotification&) { sessionStartedCallback().call(); });
    sessionStartedCallback().set(callback, user);
  });
}

void zorvane_set_reachability_callback(zorvane_reachability_callback callback, void* user) {
  if (isForkedChild()) return;
  guarded([&] {
    [[maybe_unused]] static const auto observer = ZVNotificationCenter::addObserver(
        k_ZV_ReachabilityChangedNotification, [](const ZVNotification&) { reachabilityCallback().call(); });
    reachabilityCallback().set(callback, user);
  });
}

void zorvane_detach_callbacks(void) {
  if (isForkedChild()) return;
  guarded([] {
    HostFunctions::detachAll();
    failHostRequests();  // afterwards: none is started any more
  });
}

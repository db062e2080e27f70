#include <zorvane/ZVNotificationCenter.h>
#include <zorvane/ZVRemoteConfigsDelegate.h>
#include <zorvane/Zorvane.h>
#include <zorvane/zorvane_c.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "capi/guard.h"

using namespace zorvane;

namespace {

thread_local int callbacksUnderWay = 0;  // on this thread, of either kind

// The host's function of one kind. No lock is held while it runs: it may wait for a lock of the library's whose holder
// is about to call it, too.
template <class... Arguments>
class HostCallback {
 public:
  using Function = void (*)(Arguments..., void* user);

  // Waits until the former function is left by every thread. Not from inside a callback, where it could wait for
  // itself.
  void set(Function function, void* user) {
    auto next = function != nullptr ? std::make_shared<Registration>(Registration{function, user}) : nullptr;
    std::unique_lock lock(mutex_);
    const auto former = std::exchange(current_, std::move(next));
    if (former != nullptr && callbacksUnderWay == 0) left_.wait(lock, [&] { return former->threadsInside == 0; });
  }

  void call(Arguments... arguments) {
    if (const Visit visit(*this); visit.registration != nullptr)
      visit.registration->function(arguments..., visit.registration->user);
  }

 private:
  struct Registration {
    Function function;
    void* user;
    int threadsInside = 0;  // guarded by mutex_
  };

  struct Visit {
    explicit Visit(HostCallback& visited) : callback(visited) {
      const std::scoped_lock lock(callback.mutex_);
      registration = callback.current_;
      if (registration != nullptr) ++registration->threadsInside;
      ++callbacksUnderWay;
    }
    ~Visit() {
      --callbacksUnderWay;
      if (registration == nullptr) return;
      const std::scoped_lock lock(callback.mutex_);
      --registration->threadsInside;
      callback.left_.notify_all();
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    HostCallback& callback;
    std::shared_ptr<Registration> registration;
  };

  std::mutex mutex_;
  std::condition_variable left_;
  std::shared_ptr<Registration> current_;  // guarded by mutex_
};

// Neither is ever destroyed: the library's threads outlive static destruction.
auto& logCallback() {
  static auto* const callback = new HostCallback<int, const char*>;
  return *callback;
}
auto& remoteConfigsCallback() {
  static auto* const callback = new HostCallback<>;
  return *callback;
}

void tellLine(const ZVNotification& notification) {
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
        ZVNotificationCenter::addObserver(k_ZV_LoggerMessageNotification, tellLine);
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

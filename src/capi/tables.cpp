#include "capi/tables.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capi/guard.h"
#include "capi/host.h"
#include "capi/numbered.h"
#include "capi/texts.h"

namespace zorvane {

namespace {

constexpr std::size_t kLongestDefault = std::size_t{1} << 20;

template <class Table>
class HostTable {
 public:
  HostTable(const Table& table, std::shared_ptr<HostFunctions> functions)
      : table_(table), functions_(std::move(functions)) {}

  // What the host's function answers; `otherwise` where there is none, where it is detached, or where it throws.
  template <class Result, class... Parameters, class... Arguments>
  Result ask(Result otherwise, Result (*Table::*function)(Parameters...), Arguments... arguments) const noexcept {
    Result result = otherwise;
    with(function, [&](auto called, void* user) { result = called(arguments..., user); });
    return result;
  }
  template <class... Parameters, class... Arguments>
  void order(void (*Table::*function)(Parameters...), Arguments... arguments) const noexcept {
    with(function, [&](auto called, void* user) { called(arguments..., user); });
  }
  // Hands the function to `body` for the length of the call.
  template <class Function, class Body>
  void with(Function Table::*function, Body body) const noexcept {
    if (table_.*function == nullptr) return;
    guarded([&] { functions_->call([&] { body(table_.*function, table_.user); }); });
  }

 private:
  const Table table_;
  const std::shared_ptr<HostFunctions> functions_;
};

class HostClock final : public ZVClock {
 public:
  explicit HostClock(HostTable<zorvane_clock> host) : host_(std::move(host)) {}
  double secondsSince1970() const override {
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    return host_.ask(now.count(), &zorvane_clock::seconds_since_1970);
  }

 private:
  const HostTable<zorvane_clock> host_;
};

class HostUserDefaults final : public ZVUserDefaults {
 public:
  explicit HostUserDefaults(HostTable<zorvane_user_defaults> host) : host_(std::move(host)) {}

  std::optional<std::string> stringForKey(std::string_view key) const override {
    const std::string name(key);
    std::vector<char> buffer(256);
    for (;;) {
      const std::size_t length =
          host_.ask(ZORVANE_ABSENT, &zorvane_user_defaults::get, name.c_str(), buffer.data(), buffer.size());
      if (length > kLongestDefault) return std::nullopt;
      if (length < buffer.size()) return std::string(buffer.data(), length);
      buffer.resize(length + 1);
    }
  }
  void setString(std::string_view key, std::string_view value) override {
    host_.order(&zorvane_user_defaults::set, std::string(key).c_str(), std::string(value).c_str());
  }
  void removeKey(std::string_view key) override {
    host_.order(&zorvane_user_defaults::remove, std::string(key).c_str());
  }
  bool synchronize() override { return host_.ask(false, &zorvane_user_defaults::synchronize); }

 private:
  const HostTable<zorvane_user_defaults> host_;
};

// What is to be done when the time of a background task runs out.
auto& expiries() {
  static auto* const instance = new Numbered<std::function<void()>>;  // never destroyed: a host may report one at exit
  return *instance;
}

class HostBackgroundTasks final : public ZVBackgroundTasks {
 public:
  explicit HostBackgroundTasks(HostTable<zorvane_background_tasks> host) : host_(std::move(host)) {}

  TaskId begin(std::function<void()> expired) override {
    const TaskId task = expiries().add(std::move(expired));
    host_.order(&zorvane_background_tasks::begin, task);
    return task;
  }
  void end(TaskId task) override {
    expiries().take(task);
    host_.order(&zorvane_background_tasks::end, task);
  }
  void waitAtExit(double seconds) override { host_.order(&zorvane_background_tasks::wait_at_exit, seconds); }

 private:
  const HostTable<zorvane_background_tasks> host_;
};

// What watches the network of a host that reports its changes.
using Watch = std::shared_ptr<const std::function<void()>>;
auto& watches() {
  static auto* const instance = new Numbered<Watch>;  // never destroyed: a host may report a change at exit
  return *instance;
}

class HostReachability final : public ZVReachabilitySource {
 public:
  explicit HostReachability(HostTable<zorvane_reachability> host) : host_(std::move(host)) {}

  bool accepts(const ZVReachabilityTarget&) const override { return true; }
  std::optional<std::uint32_t> flags(const ZVReachabilityTarget& target) const override {
    std::uint32_t read = 0;
    const char* const name = target.hostName.empty() ? nullptr : target.hostName.c_str();
    if (!host_.ask(false, &zorvane_reachability::flags, name, target.address.data(), &read)) return std::nullopt;
    return read;
  }
  WatchId watch(std::function<void()> changed) override {
    return watches().add(std::make_shared<const std::function<void()>>(std::move(changed)));
  }
  void unwatch(WatchId watch) override { watches().take(watch); }

 private:
  const HostTable<zorvane_reachability> host_;
};

// Asks the host each time. Once it can't be asked, its last answer counts.
class HostDevice {
 public:
  explicit HostDevice(HostTable<zorvane_device_source> host) : host_(std::move(host)) {}

  ZVDeviceFacts facts() {
    std::optional<ZVDeviceFacts> read;
    host_.with(&zorvane_device_source::read, [&](auto fill, void* user) {
      zorvane_device device{};
      device.size = sizeof device;
      fill(&device, user);
      read = factsOf(device);  // here, while its texts are valid
    });
    const std::scoped_lock lock(mutex_);
    if (read) last_ = *std::move(read);
    return last_;
  }

 private:
  const HostTable<zorvane_device_source> host_;
  std::mutex mutex_;
  ZVDeviceFacts last_;  // guarded by mutex_
};

}  // namespace

std::shared_ptr<ZVClock> hostClock(const zorvane_clock& table, std::shared_ptr<HostFunctions> functions) {
  return std::make_shared<HostClock>(HostTable(table, std::move(functions)));
}

std::shared_ptr<ZVUserDefaults> hostUserDefaults(const zorvane_user_defaults& table,
                                                 std::shared_ptr<HostFunctions> functions) {
  return std::make_shared<HostUserDefaults>(HostTable(table, std::move(functions)));
}

std::shared_ptr<ZVBackgroundTasks> hostBackgroundTasks(const zorvane_background_tasks& table,
                                                       std::shared_ptr<HostFunctions> functions) {
  return std::make_shared<HostBackgroundTasks>(HostTable(table, std::move(functions)));
}

std::shared_ptr<ZVReachabilitySource> hostReachability(const zorvane_reachability& table,
                                                       std::shared_ptr<HostFunctions> functions) {
  return std::make_shared<HostReachability>(HostTable(table, std::move(functions)));
}

std::function<ZVDeviceFacts()> hostDevice(const zorvane_device_source& table,
                                          std::shared_ptr<HostFunctions> functions) {
  return [device = std::make_shared<HostDevice>(HostTable(table, std::move(functions)))] { return device->facts(); };
}

ZVDeviceFacts factsOf(const zorvane_device& device) {
  ZVDeviceFacts facts;
  facts.systemVersion = textOrEmpty(device.system_version);
  facts.hardwareName = textOrEmpty(device.hardware_name);
  facts.vendorIdentifier = optionalText(device.vendor_identifier);
  facts.advertisingIdentifier = optionalText(device.advertising_identifier);
  facts.asksForTracking = !device.never_asks_for_tracking;
  facts.trackingStatus = device.tracking_status;
  facts.advertisingTrackingEnabled = device.advertising_tracking_enabled;
  if (device.foundation_version != 0) facts.foundationVersion = device.foundation_version;
  facts.platformName = optionalText(device.platform_name);
  facts.maker = optionalText(device.maker);
  facts.systemLine = optionalText(device.system_line);
  return facts;
}

}  // namespace zorvane

using namespace zorvane;

void zorvane_background_task_expired(uint64_t task) {
  if (isForkedChild()) return;
  guarded([=] {
    if (const auto expired = expiries().take(task)) expired();
  });
}

void zorvane_reachability_changed(void) {
  if (isForkedChild()) return;
  guarded([] {
    for (const auto& watch : watches().all()) (*watch)();
  });
}

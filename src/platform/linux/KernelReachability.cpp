#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/Console.h"
#include "platform/Defaults.h"
#include "platform/Thread.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/Network.h"

namespace zorvane {

namespace {

using Source = ZVReachabilitySource;
using WatchId = Source::WatchId;

constexpr std::size_t kMaxHostNameBytes = 253;
constexpr IPv4 kInternet{0, 0, 0, 0};
constexpr IPv4 kLinkLocal{169, 254, 0, 0};

enum class Kind { loopback, localNetwork, address, internet };

struct Destination {
  Kind kind = Kind::internet;
  IPv4 address{};
};

Destination destinationOf(const IPv4& address) {
  if (address == kInternet) return {Kind::internet, address};
  if (address == kLinkLocal) return {Kind::localNetwork, address};
  return {address[0] == 127 ? Kind::loopback : Kind::address, address};
}

bool isLocalhost(std::string_view name) {
  constexpr std::string_view kName = "localhost";
  return std::ranges::equal(name, kName, {}, [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
}

// A name is never looked up: it is somewhere on the internet, unless it names this very machine.
Destination destinationOf(const std::string& hostName) {
  if (hostName.size() > 2 && hostName.front() == '[' && hostName.back() == ']')  // an IPv6 address, as URLs write it
    return destinationOf(hostName.substr(1, hostName.size() - 2));
  in6_addr long6{};
  IPv4 address{};
  if (isLocalhost(hostName)) return {Kind::loopback, address};
  if (inet_pton(AF_INET, hostName.c_str(), address.data()) == 1) return destinationOf(address);
  if (inet_pton(AF_INET6, hostName.c_str(), &long6) == 1 && IN6_IS_ADDR_LOOPBACK(&long6))
    return {Kind::loopback, address};
  return {Kind::internet, address};
}

Destination destinationOf(const ZVReachabilityTarget& target) {
  return target.hostName.empty() ? destinationOf(target.address) : destinationOf(target.hostName);
}

std::uint32_t number(const IPv4& address) {
  return std::uint32_t{address[0]} << 24U | std::uint32_t{address[1]} << 16U | std::uint32_t{address[2]} << 8U |
         std::uint32_t{address[3]};
}

bool covers(const Network::Route& route, const IPv4& address) {
  const std::uint32_t mask = ~std::uint32_t{0} << (32U - route.prefixBits);  // at least one bit
  return ((number(route.destination) ^ number(address)) & mask) == 0;
}

// The route with the longest prefix decides, as it does for what is sent.
std::uint32_t flagsOf(const Network& network, const IPv4& address) {
  const Network::Route* best = nullptr;
  for (const Network::Route& route : network.routes)
    if (covers(route, address) && (best == nullptr || route.prefixBits > best->prefixBits)) best = &route;
  if (best == nullptr) return network.defaultRoute ? Source::kReachable : 0;
  return Source::kReachable | (best->direct ? Source::kIsDirect : 0);
}

std::uint32_t flagsOf(const Network& network, const Destination& destination) {
  constexpr std::uint32_t kDirectly = Source::kReachable | Source::kIsDirect;
  switch (destination.kind) {
    case Kind::loopback: return network.loopback ? kDirectly : 0;
    case Kind::localNetwork: return network.localNetwork ? kDirectly : 0;
    case Kind::address: return flagsOf(network, destination.address);
    case Kind::internet: return network.defaultRoute ? Source::kReachable : 0;
  }
  return 0;
}

// Who wants to hear of changes. Shared with the tasks on the main loop, which may run after the source has gone.
class Watchers {
 public:
  WatchId add(std::function<void()> changed) {
    static std::atomic<WatchId> last{0};  // never the same in two sources
    const WatchId id = ++last;
    const std::scoped_lock lock(mutex_);
    all_.emplace(id, std::make_shared<const std::function<void()>>(std::move(changed)));
    return id;
  }

  void remove(WatchId id) {
    std::shared_ptr<const std::function<void()>> removed;  // destroyed without the lock
    const std::scoped_lock lock(mutex_);
    const auto found = all_.find(id);
    if (found == all_.end()) return;
    removed = std::move(found->second);
    all_.erase(found);
  }

  void notify() {
    for (const WatchId id : ids())
      if (const auto changed = find(id)) (*changed)();  // looked up one by one: the call before may have removed it
  }

 private:
  std::vector<WatchId> ids() {
    const std::scoped_lock lock(mutex_);
    std::vector<WatchId> found;
    for (const auto& [id, changed] : all_) found.push_back(id);
    return found;
  }
  std::shared_ptr<const std::function<void()>> find(WatchId id) {
    const std::scoped_lock lock(mutex_);
    const auto found = all_.find(id);
    return found != all_.end() ? found->second : nullptr;
  }

  std::mutex mutex_;
  std::map<WatchId, std::shared_ptr<const std::function<void()>>> all_;  // guarded by mutex_
};

FileDescriptor openNews() {
  FileDescriptor news(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
  sockaddr_nl groups{};
  groups.nl_family = AF_NETLINK;
  groups.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
  const auto* address = static_cast<const sockaddr*>(static_cast<const void*>(&groups));
  return news.valid() && bind(news.get(), address, sizeof groups) == 0 ? std::move(news) : FileDescriptor();
}

// Takes what has come so far. What it says does not matter, and neither does news lost in an overflow: the network is
// read afresh.
void discardNews(const FileDescriptor& news) {
  char buffer[8192];
  while (recv(news.get(), buffer, sizeof buffer, 0) > 0 || errno == EINTR || errno == ENOBUFS) {
  }
}

class KernelReachability final : public ZVReachabilitySource {
 public:
  explicit KernelReachability(std::shared_ptr<ZVMainLoop> mainLoop) : mainLoop_(std::move(mainLoop)) {}

  ~KernelReachability() override {
    if (!thread_.joinable()) return;
    eventfd_write(stop_.get(), 1);
    thread_.join();
  }

  bool accepts(const ZVReachabilityTarget& target) const override {
    const std::string& name = target.hostName;
    return name.size() <= kMaxHostNameBytes &&
           std::ranges::none_of(name, [](unsigned char byte) { return byte <= ' ' || byte == 0x7F; });
  }

  std::optional<std::uint32_t> flags(const ZVReachabilityTarget& target) const override {
    const auto network = readNetwork();
    return network ? std::optional(flagsOf(*network, destinationOf(target))) : std::nullopt;
  }

  WatchId watch(std::function<void()> changed) override {
    return isListening() ? watchers_->add(std::move(changed)) : 0;
  }

  void unwatch(WatchId watch) override { watchers_->remove(watch); }

 private:
  // The thread begins with the first watch. False when the system refuses it what it needs.
  bool isListening() {
    const std::scoped_lock lock(mutex_);
    if (thread_.joinable()) return true;
    news_ = openNews();
    stop_ = FileDescriptor(eventfd(0, EFD_CLOEXEC));
    if (!news_.valid() || !stop_.valid()) return false;
    try {
      // Read here: whatever changes once a watcher has its number differs from it.
      thread_ = startThread("zorvane routes", [this, known = readNetwork()] { listen(known); });
      return true;
    } catch (const std::system_error&) {
      return false;
    }
  }

  void listen(const std::optional<Network>& known) noexcept {
    try {
      reportChanges(known);
    } catch (...) {
      writeConsoleLine("Network changes are no longer reported.");
    }
  }

  void reportChanges(std::optional<Network> known) {
    std::array waits{pollfd{.fd = news_.get(), .events = POLLIN, .revents = 0},
                     pollfd{.fd = stop_.get(), .events = POLLIN, .revents = 0}};
    while (poll(waits.data(), waits.size(), -1) >= 0 || errno == EINTR) {
      if (waits[1].revents != 0) return;
      discardNews(news_);
      auto now = readNetwork();
      if (now == known) continue;  // most news is of no consequence, such as a route's refreshed lifetime
      known = std::move(now);
      mainLoop_->post([watchers = watchers_] { watchers->notify(); });
    }
  }

  const std::shared_ptr<ZVMainLoop> mainLoop_;
  const std::shared_ptr<Watchers> watchers_ = std::make_shared<Watchers>();
  std::mutex mutex_;     // guards the start of the thread
  FileDescriptor news_;  // set before the thread begins, as stop_ is
  FileDescriptor stop_;
  std::thread thread_;
};

}  // namespace

std::shared_ptr<ZVReachabilitySource> makeKernelReachability(std::shared_ptr<ZVMainLoop> mainLoop) {
  return std::make_shared<KernelReachability>(std::move(mainLoop));
}

}  // namespace zorvane

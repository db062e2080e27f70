#include "platform/linux/Network.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "platform/linux/FileDescriptor.h"

namespace zorvane {

namespace {

constexpr timeval kAnswerLimit{.tv_sec = 1, .tv_usec = 0};
constexpr std::size_t kAnswerBytes = std::size_t{64} << 10;  // the kernel fills 32 KiB at most
constexpr int kMostAnswers = 4096;  // a machine that carries the internet's routing table is no player's

template <class Header>
const Header& payload(const nlmsghdr& message) {
  return *static_cast<const Header*>(NLMSG_DATA(&message));
}

// The attributes that follow a message's header or another attribute's beginning.
struct Attributes {
  const rtattr* first;
  std::size_t bytes;

  template <class Visit>
  void each(Visit visit) const {
    auto left = static_cast<unsigned>(bytes);
    for (const rtattr* attribute = first; RTA_OK(attribute, left); attribute = RTA_NEXT(attribute, left))
      visit(*attribute);
  }
};

template <class Header>
Attributes attributesOf(const nlmsghdr& message) {
  const std::size_t offset = NLMSG_ALIGN(sizeof(Header));
  const char* const start = static_cast<const char*>(static_cast<const void*>(&payload<Header>(message))) + offset;
  const std::size_t length = NLMSG_PAYLOAD(&message, 0);
  return {static_cast<const rtattr*>(static_cast<const void*>(start)), length > offset ? length - offset : 0};
}

template <class Value>
Value valueOf(const rtattr& attribute) {
  Value value{};
  std::memcpy(&value, RTA_DATA(&attribute), std::min<std::size_t>(sizeof value, RTA_PAYLOAD(&attribute)));
  return value;
}

class Question {
 public:
  Question() : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)), buffer_(kAnswerBytes) {
    if (socket_.valid()) setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &kAnswerLimit, sizeof kAnswerLimit);
  }

  // Has the kernel list everything of one kind. False when it did not come to the end of its list.
  template <class Visit>
  bool list(std::uint16_t kind, std::uint8_t family, Visit visit) {
    if (!socket_.valid() || !ask(kind, family)) return false;
    for (int answers = 0; answers < kMostAnswers; ++answers) {
      const ssize_t received = recv(socket_.get(), buffer_.data(), buffer_.size(), 0);
      if (received <= 0) return false;
      auto left = static_cast<unsigned>(received);
      for (auto* message = first(); NLMSG_OK(message, left); message = NLMSG_NEXT(message, left)) {
        if (message->nlmsg_type == NLMSG_DONE) return true;
        if (message->nlmsg_type == NLMSG_ERROR) return false;
        visit(*message);
      }
    }
    return false;
  }

 private:
  bool ask(std::uint16_t kind, std::uint8_t family) const {
    struct {
      nlmsghdr header;
      rtgenmsg body;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = kind;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body.rtgen_family = family;
    return send(socket_.get(), &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
  }

  const nlmsghdr* first() const { return static_cast<const nlmsghdr*>(static_cast<const void*>(buffer_.data())); }

  FileDescriptor socket_;
  std::vector<char> buffer_;
};

struct Reading {
  Network network;
  std::map<int, unsigned> links;  // index to flags, of the interfaces that are up and running

  [[nodiscard]] bool outward(int index) const {
    const auto link = links.find(index);
    return link != links.end() && (link->second & IFF_LOOPBACK) == 0;
  }

  void link(const nlmsghdr& message) {
    const auto& header = payload<ifinfomsg>(message);
    if ((header.ifi_flags & IFF_UP) == 0 || (header.ifi_flags & IFF_RUNNING) == 0) return;
    links[header.ifi_index] = header.ifi_flags;
    if ((header.ifi_flags & IFF_LOOPBACK) != 0) network.loopback = true;
  }

  void address(const nlmsghdr& message) {
    if (outward(static_cast<int>(payload<ifaddrmsg>(message).ifa_index))) network.localNetwork = true;
  }

  void route(const nlmsghdr& message) {
    const auto& header = payload<rtmsg>(message);
    if (header.rtm_type != RTN_UNICAST || header.rtm_table == RT_TABLE_LOCAL) return;
    Network::Route route{.prefixBits = header.rtm_dst_len, .direct = true};
    bool usable = false;
    attributesOf<rtmsg>(message).each([&](const rtattr& attribute) {
      switch (attribute.rta_type) {
        case RTA_DST: route.destination = valueOf<IPv4>(attribute); break;
        case RTA_GATEWAY:
        case RTA_VIA: route.direct = false; break;
        case RTA_OIF: usable = usable || outward(valueOf<int>(attribute)); break;
        case RTA_MULTIPATH:
          route.direct = false;
          usable = usable || anyHopOutward(attribute);
          break;
        default: break;
      }
    });
    if (!usable) return;
    if (header.rtm_dst_len == 0) network.defaultRoute = true;
    else if (header.rtm_family == AF_INET) network.routes.push_back(route);
  }

  [[nodiscard]] bool anyHopOutward(const rtattr& attribute) const {
    auto left = static_cast<std::size_t>(RTA_PAYLOAD(&attribute));
    const auto* hop = static_cast<const rtnexthop*>(RTA_DATA(&attribute));
    while (left >= sizeof *hop && hop->rtnh_len >= sizeof *hop && hop->rtnh_len <= left) {
      if (outward(hop->rtnh_ifindex)) return true;
      const std::size_t step = std::min<std::size_t>(left, RTNH_ALIGN(hop->rtnh_len));
      left -= step;
      hop = RTNH_NEXT(hop);
    }
    return false;
  }
};

}  // namespace

std::optional<Network> readNetwork() {
  Question question;
  Reading reading;
  const auto link = [&](const nlmsghdr& message) { reading.link(message); };
  const auto address = [&](const nlmsghdr& message) { reading.address(message); };
  const auto route = [&](const nlmsghdr& message) { reading.route(message); };
  const bool complete = question.list(RTM_GETLINK, AF_UNSPEC, link) && question.list(RTM_GETADDR, AF_INET, address) &&
                        question.list(RTM_GETROUTE, AF_INET, route);
  if (!complete) return std::nullopt;
  question.list(RTM_GETROUTE, AF_INET6, route);  // a kernel without IPv6 refuses, and that is an answer
  return std::move(reading.network);
}

}  // namespace zorvane

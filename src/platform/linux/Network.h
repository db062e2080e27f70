// What the kernel says of the machine's network: the interfaces in use, their addresses, the routes over them.
//
// Thread: any; reading opens a socket of its own, asks and closes it. Nothing is looked up by name.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace zorvane {

using IPv4 = std::array<std::uint8_t, 4>;

struct Network {
  // A route to a network that is directly connected, or with no prefix at all to everything.
  struct Route {
    IPv4 destination{};
    unsigned prefixBits = 0;
    bool direct = false;  // no gateway in between
    bool operator==(const Route&) const = default;
  };

  bool loopback = false;      // the loopback interface is up
  bool localNetwork = false;  // another interface that is up and running has an IPv4 address
  bool defaultRoute = false;  // IPv4 or IPv6
  std::vector<Route> routes;  // of IPv4, over interfaces that are up and running, loopback left out

  bool operator==(const Network&) const = default;
};

// Absent when the kernel can't be asked.
std::optional<Network> readNetwork();

}  // namespace zorvane

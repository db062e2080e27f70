// Who a client is, by IP address.
//
// Thread: any, once made.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "collector/front/Http.h"

namespace collector::front {

// The one form in which an address is compared: an IPv4 address inside an IPv6 one is an IPv4 address. Absent when
// the text is no address.
std::optional<std::string> canonicalAddress(std::string_view text);
// The address, or the network of 64 bits that an IPv6 address belongs to: a client has all addresses of that.
std::string networkOf(const std::string& address);
// The address without what tells one client from its neighbours: the network of 24 bits, or of 48 of an IPv6 address.
std::string shortenedAddress(const std::string& address);
// Whether a field says that the request was forwarded.
bool isForwarded(const Head& head);

// The proxies whose word on a client's address is taken.
class Proxies {
 public:
  [[nodiscard]] bool empty() const { return addresses_.empty(); }
  // False when the text is no address.
  bool add(std::string_view address);
  [[nodiscard]] bool contains(const std::string& address) const { return addresses_.contains(address); }
  // The address that `peer` forwards for: of those in X-Forwarded-For the rightmost that is no proxy of these. What
  // stands left of it the client may have written itself.
  [[nodiscard]] std::string clientOf(const std::string& peer, const Head& head) const;
  // Whether `peer` is one of these and says that its client came by TLS.
  [[nodiscard]] bool isSecured(const std::string& peer, const Head& head) const;

 private:
  std::set<std::string> addresses_;
};

}  // namespace collector::front

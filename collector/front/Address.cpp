#include "collector/front/Address.h"

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <iterator>

namespace collector::front {

namespace {

namespace ip = boost::asio::ip;

constexpr auto kForwardingFields = std::to_array<std::string_view>({"Forwarded", "Via", "X-Real-IP"});
constexpr std::string_view kForwardingPrefix = "X-Forwarded-";
constexpr std::string_view kForwardedFor = "X-Forwarded-For";

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t";
  const auto first = text.find_first_not_of(kBlank);
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

// Proxies add the port now and then: "192.0.2.1:80", "[2001:db8::1]:80", "[2001:db8::1]".
std::string_view withoutPort(std::string_view text) {
  if (text.starts_with('[')) return text.substr(1, text.find(']') - 1);
  const auto colon = text.find(':');
  return colon != std::string_view::npos && text.find(':', colon + 1) == std::string_view::npos ? text.substr(0, colon)
                                                                                                : text;
}

// All entries of all fields, the latest first.
std::vector<std::string_view> forwardedFor(const Head& head) {
  std::vector<std::string_view> entries;
  for (const auto& field : head.fields) {
    if (!isSameName(field.name, kForwardedFor)) continue;
    for (std::string_view left = field.value;;) {
      const auto comma = left.find(',');
      entries.push_back(trimmed(left.substr(0, comma)));
      if (comma == std::string_view::npos) break;
      left.remove_prefix(comma + 1);
    }
  }
  std::reverse(entries.begin(), entries.end());
  return entries;
}

}  // namespace

std::optional<std::string> canonicalAddress(std::string_view text) {
  boost::system::error_code failed;
  const auto address = ip::make_address(text, failed);
  if (failed) return std::nullopt;
  if (!address.is_v6()) return address.to_string();
  auto six = address.to_v6();
  if (six.is_v4_mapped()) return ip::make_address_v4(ip::v4_mapped, six).to_string();
  six.scope_id(0);
  return six.to_string();
}

std::string networkOf(const std::string& address) {
  boost::system::error_code failed;
  const auto six = ip::make_address_v6(address, failed);
  if (failed) return address;
  auto bytes = six.to_bytes();
  std::fill(std::next(bytes.begin(), 8), bytes.end(), 0);
  return ip::address_v6(bytes).to_string();
}

std::string shortenedAddress(const std::string& text) {
  constexpr std::size_t kKept = 3, kKeptOfSix = 6;
  boost::system::error_code failed;
  const auto address = ip::make_address(text, failed);
  if (failed) return "-";
  const auto withoutRest = [](auto bytes, std::size_t kept) {
    std::fill(std::next(bytes.begin(), static_cast<std::ptrdiff_t>(kept)), bytes.end(), 0);
    return bytes;
  };
  if (address.is_v4()) return ip::address_v4(withoutRest(address.to_v4().to_bytes(), kKept)).to_string();
  return ip::address_v6(withoutRest(address.to_v6().to_bytes(), kKeptOfSix)).to_string();
}

bool isForwarded(const Head& head) {
  return std::any_of(head.fields.begin(), head.fields.end(), [](const Field& field) {
    const auto isName = [&](std::string_view name) { return isSameName(field.name, name); };
    return std::any_of(kForwardingFields.begin(), kForwardingFields.end(), isName) ||
           isSameName(std::string_view(field.name).substr(0, kForwardingPrefix.size()), kForwardingPrefix);
  });
}

bool Proxies::add(std::string_view address) {
  const auto canonical = canonicalAddress(address);
  if (canonical) addresses_.insert(*canonical);
  return canonical.has_value();
}

std::string Proxies::clientOf(const std::string& peer, const Head& head) const {
  std::string client = peer;
  for (const auto entry : forwardedFor(head)) {
    if (!contains(client)) break;
    const auto address = canonicalAddress(withoutPort(entry));
    if (!address) break;  // from here on nothing is known
    client = *address;
  }
  return client;
}

bool Proxies::isSecured(const std::string& peer, const Head& head) const {
  return contains(peer) && isSameName(head.field("X-Forwarded-Proto"), "https");
}

}  // namespace collector::front

#include "collector/configs/Digest.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace collector {

namespace {

using Digest = std::array<unsigned char, 32>;

Digest digestOf(std::string_view text) {
  Digest digest{};
  if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1)
    throw std::runtime_error("SHA-256 is not available");
  return digest;
}

}  // namespace

std::string digestText(std::string_view text) {
  const Digest digest = digestOf(text);
  std::string hexadecimal;
  for (std::size_t at = 0; at < digest.size() / 2; ++at) hexadecimal += fmt::format("{:02x}", digest[at]);
  return hexadecimal;
}

std::uint64_t digestNumber(std::string_view text) {
  const Digest digest = digestOf(text);
  std::uint64_t number = 0;
  for (std::size_t at = 0; at < sizeof number; ++at) number = number << 8U | digest[at];
  return number;
}

}  // namespace collector

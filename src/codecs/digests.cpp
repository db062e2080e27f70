#include "codecs/digests.h"

#include <algorithm>
#include <cstdint>

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "codecs/bytes.h"
#include "codecs/hex.h"

namespace zorvane {

namespace {

std::string digest(const EVP_MD* kind, std::string_view data) {
  std::string result(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  if (EVP_Digest(data.data(), data.size(), bytesOf(result), &length, kind, nullptr) != 1) length = 0;
  result.resize(length);
  return result;
}

}  // namespace

std::string_view upToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

std::string base64(std::string_view data) {
  constexpr std::size_t kStep = std::size_t{3} << 24;  // whole groups; the encoder counts with an int
  std::string text((data.size() + 2) / 3 * 4, '\0');
  unsigned char* next = bytesOf(text);  // the encoder's own end is the text's
  for (; !data.empty(); data.remove_prefix(std::min(data.size(), kStep)))
    next += EVP_EncodeBlock(next, bytesOf(data), static_cast<int>(std::min(data.size(), kStep)));
  return text;
}

std::string md5(std::string_view data) {
  std::string text;
  for (const char byte : digest(EVP_md5(), data)) appendHex(text, static_cast<std::uint8_t>(byte), kLowerHex);
  return text;
}

std::string sha256(std::string_view data) { return base64(digest(EVP_sha256(), data)); }

std::string hmacSha256(std::string_view key, std::string_view data) {
  const std::string_view usedKey = upToNul(key);
  std::string result(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  if (HMAC(EVP_sha256(), usedKey.data(), static_cast<int>(usedKey.size()), bytesOf(data), data.size(), bytesOf(result),
           &length) == nullptr)
    length = 0;
  result.resize(length);
  return base64(result);
}

}  // namespace zorvane

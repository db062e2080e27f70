#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include "codecs/ZVHelpers.h"
#include "runtime/ZVLogger.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::string_view kLowerHex = "0123456789abcdef";
constexpr std::string_view kUpperHex = "0123456789ABCDEF";

constexpr std::size_t kShortestKey = 16;  // characters
constexpr std::size_t kCipherKeyBytes = 32;
constexpr std::size_t kCipherBlockBytes = 16;

struct CipherFree {
  void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using Cipher = std::unique_ptr<EVP_CIPHER_CTX, CipherFree>;

const unsigned char* bytesOf(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }
unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

// What a platform string that ends at its first NUL would hold.
std::string_view upToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

void appendHex(std::string& text, std::uint8_t byte, std::string_view digits) {
  text += digits[byte >> 4U];
  text += digits[byte & 0xFU];
}

std::string digest(const EVP_MD* kind, std::string_view data) {
  std::string result(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  if (EVP_Digest(data.data(), data.size(), bytesOf(result), &length, kind, nullptr) != 1) length = 0;
  result.resize(length);
  return result;
}

using UuidBytes = std::array<std::uint8_t, 16>;

// Random bytes, drawn for many ids at once: the generator's own work is the same for one as for all of them.
class RandomIds {
 public:
  UuidBytes next() {
    if (used_ == ids_.size()) draw();
    return ids_[used_++];
  }

 private:
  void draw() {
    auto* const bytes = ids_.front().data();
    if (RAND_bytes(bytes, sizeof ids_) != 1) {
      std::random_device source;
      std::generate_n(bytes, sizeof ids_, [&] { return static_cast<std::uint8_t>(source()); });
    }
    used_ = 0;
  }

  std::array<UuidBytes, 64> ids_{};
  std::size_t used_ = ids_.size();
};

std::string randomUuid(std::string_view digits) {
  thread_local RandomIds ids;
  UuidBytes bytes = ids.next();
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);  // version 4: random
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);  // the standard variant
  std::string text;
  text.reserve(36);
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at == 4 || at == 6 || at == 8 || at == 10) text += '-';
    appendHex(text, bytes[at], digits);
  }
  return text;
}

std::optional<std::string> encrypted(std::string_view plainText, const std::string& key, const std::string& vector) {
  if (plainText.size() > std::numeric_limits<int>::max() - kCipherBlockBytes) return std::nullopt;
  const Cipher cipher(EVP_CIPHER_CTX_new());
  std::string output(plainText.size() + kCipherBlockBytes, '\0');
  int length = 0;
  int rest = 0;
  const bool done = cipher &&
                    EVP_EncryptInit_ex(cipher.get(), EVP_aes_256_cbc(), nullptr, bytesOf(key), bytesOf(vector)) == 1 &&
                    EVP_EncryptUpdate(cipher.get(), bytesOf(output), &length, bytesOf(plainText),
                                      static_cast<int>(plainText.size())) == 1 &&
                    EVP_EncryptFinal_ex(cipher.get(), bytesOf(output) + length, &rest) == 1;
  if (!done) return std::nullopt;
  output.resize(static_cast<std::size_t>(length) + static_cast<std::size_t>(rest));
  return output;
}

}  // namespace

std::string ZVHelpers::generateUUID() { return randomUuid(kLowerHex); }
std::string ZVHelpers::generateUpperUUID() { return randomUuid(kUpperHex); }

std::string ZVHelpers::stringToMd5(std::string_view text) { return dataToMd5(upToNul(text)); }

std::string ZVHelpers::dataToMd5(std::string_view data) {
  std::string text;
  for (const char byte : digest(EVP_md5(), data)) appendHex(text, static_cast<std::uint8_t>(byte), kLowerHex);
  return text;
}

std::string ZVHelpers::sha256HashForData(std::string_view data) { return base64forData(digest(EVP_sha256(), data)); }

std::string ZVHelpers::hmacWithKey(std::string_view key, std::string_view data) {
  const std::string_view usedKey = upToNul(key);
  std::string result(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  if (HMAC(EVP_sha256(), usedKey.data(), static_cast<int>(usedKey.size()), bytesOf(data), data.size(), bytesOf(result),
           &length) == nullptr)
    length = 0;
  result.resize(length);
  return base64forData(result);
}

std::string ZVHelpers::base64forData(std::string_view data) {
  constexpr std::size_t kStep = std::size_t{3} << 24;  // whole groups; the encoder counts with an int
  std::string text((data.size() + 2) / 3 * 4, '\0');
  unsigned char* next = bytesOf(text);  // the encoder's own end is the text's
  for (; !data.empty(); data.remove_prefix(std::min(data.size(), kStep)))
    next += EVP_EncodeBlock(next, bytesOf(data), static_cast<int>(std::min(data.size(), kStep)));
  return text;
}

std::optional<std::string> ZVHelpers::encryptString(ZVText plainText, ZVText key) {
  if (plainText.empty() || !isValidUtf8(plainText.view())) {
    ZVLogger::d(0, "Encrypting an empty string does not work!");
    return std::nullopt;
  }
  if (utf16Length(key.view()).value_or(0) < kShortestKey) {
    ZVLogger::d(0, "Encrypting with invalid key - nil, or less than 16 chars - not allowed.");
    return std::nullopt;
  }
  std::string keyBytes(key.view().substr(0, kCipherKeyBytes));
  keyBytes.resize(kCipherKeyBytes);  // a shorter key is followed by zeros
  const std::string vector = stringToMd5(key.view()).substr(0, kCipherBlockBytes);
  const auto bytes = encrypted(plainText.view(), keyBytes, vector);
  return bytes ? std::optional(base64forData(*bytes)) : std::nullopt;
}

}  // namespace zorvane

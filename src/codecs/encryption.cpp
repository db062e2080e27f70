#include "codecs/encryption.h"

#include <limits>
#include <memory>
#include <string_view>

#include <openssl/evp.h>

#include "codecs/bytes.h"
#include "codecs/digests.h"
#include "runtime/ZVLogger.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::size_t kShortestKey = 16;  // characters
constexpr std::size_t kCipherKeyBytes = 32;
constexpr std::size_t kCipherBlockBytes = 16;

struct CipherFree {
  void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using Cipher = std::unique_ptr<EVP_CIPHER_CTX, CipherFree>;

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

std::optional<std::string> encryptText(ZVText plainText, ZVText key) {
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
  const std::string vector = md5(upToNul(key.view())).substr(0, kCipherBlockBytes);
  const auto bytes = encrypted(plainText.view(), keyBytes, vector);
  return bytes ? std::optional(base64(*bytes)) : std::nullopt;
}

}  // namespace zorvane

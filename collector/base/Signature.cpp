#include "collector/base/Signature.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <new>

namespace collector {

std::string signatureOf(std::string_view body, std::string_view secret) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned digestSize = 0;
  if (HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
           reinterpret_cast<const unsigned char*>(body.data()), body.size(), digest.data(), &digestSize) == nullptr)
    throw std::bad_alloc();  // no answer, then: a game would take one for good
  std::array<unsigned char, 4 * (EVP_MAX_MD_SIZE / 3 + 1) + 1> text{};
  const int size = EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(digestSize));
  return {text.begin(), text.begin() + size};
}

bool isSignedWith(std::string_view secret, std::string_view body, std::string_view signature) {
  const auto expected = signatureOf(body, secret);
  return expected.size() == signature.size() && CRYPTO_memcmp(expected.data(), signature.data(), expected.size()) == 0;
}

}  // namespace collector

#include "support/Certificate.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace {

constexpr long kHourSeconds = 3600;

template <auto Free>
struct Closer {
  template <class T>
  void operator()(T* made) const {
    Free(made);
  }
};

void require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("the certificate could not be made");
}

}  // namespace

void writeCertificate(const std::string& path, const std::string& names) {
  const std::unique_ptr<EVP_PKEY, Closer<EVP_PKEY_free>> key(EVP_EC_gen("P-256"));
  const std::unique_ptr<X509, Closer<X509_free>> owned(X509_new());
  X509* const made = owned.get();
  require(key && made != nullptr);
  X509_set_version(made, X509_VERSION_3);
  X509_gmtime_adj(X509_getm_notBefore(made), -kHourSeconds);
  X509_gmtime_adj(X509_getm_notAfter(made), kHourSeconds);
  X509_set_pubkey(made, key.get());
  const unsigned char commonName[] = "Loopback server";
  X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC, commonName, -1, -1, 0);
  X509_set_issuer_name(made, X509_get_subject_name(made));
  const std::unique_ptr<X509_EXTENSION, Closer<X509_EXTENSION_free>> certified(
      X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str()));
  require(certified && X509_add_ext(made, certified.get(), -1) == 1 && X509_sign(made, key.get(), EVP_sha256()) > 0);
  const std::unique_ptr<std::FILE, Closer<std::fclose>> file(std::fopen(path.c_str(), "w"));
  require(file && PEM_write_X509(file.get(), made) == 1 &&
          PEM_write_PrivateKey(file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
}

#include "support/Certificate.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace {

constexpr long kHourSeconds = 3600;

void require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("the certificate could not be made");
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  struct Free {
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
  };
  X509V3_CTX context{};
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Free> extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

}  // namespace

Certificate::Certificate(const std::string& names) : key(EVP_EC_gen("P-256")), certificate(X509_new()) {
  require(key != nullptr && certificate != nullptr);
  X509* const made = certificate.get();
  X509_set_version(made, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
  X509_gmtime_adj(X509_getm_notBefore(made), -kHourSeconds);
  X509_gmtime_adj(X509_getm_notAfter(made), kHourSeconds);
  X509_set_pubkey(made, key.get());
  X509_NAME* const subject = X509_get_subject_name(made);
  const unsigned char commonName[] = "Loopback server";
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, commonName, -1, -1, 0);
  X509_set_issuer_name(made, subject);
  addExtension(made, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(made, NID_subject_alt_name, names);
  require(X509_sign(made, key.get(), EVP_sha256()) > 0);
}

void Certificate::writePem(const std::string& path) const {
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "w"));
  require(file != nullptr && PEM_write_X509(file.get(), certificate.get()) == 1);
}

// A self-signed certificate with its key, made on the spot.
//
// Thread: any; a plain value.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

struct Certificate {
  struct Release {
    void operator()(EVP_PKEY* made) const { EVP_PKEY_free(made); }
    void operator()(X509* made) const { X509_free(made); }
  };

  // `names`: whom it certifies, "IP:127.0.0.1,DNS:localhost".
  explicit Certificate(const std::string& names);

  void writePem(const std::string& path) const;

  std::unique_ptr<EVP_PKEY, Release> key;
  std::unique_ptr<X509, Release> certificate;
};

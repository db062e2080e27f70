#include "collector/Tls.h"

#include <fmt/format.h>
#include <openssl/err.h>

namespace collector {

TlsContext makeTlsContext(const std::string& certificateFile, const std::string& keyFile, std::string& problem) {
  TlsContext context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (!context) {
    problem = "TLS can't be started";
    return nullptr;
  }
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  // A write that has to wait is repeated from wherever the bytes then lie.
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  // A key behind a pass phrase is refused: a server has nobody to ask for it.
  SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return 0; });
  ERR_clear_error();
  if (SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) != 1)
    problem = fmt::format("{} is no certificate", certificateFile);
  else if (SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) != 1)
    problem = fmt::format("{} is no key, or not that of the certificate", keyFile);
  else return context;
  return nullptr;
}

}  // namespace collector

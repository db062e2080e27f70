#include "collector/front/Tls.h"

#include <fmt/format.h>
#include <openssl/err.h>

#include <array>

namespace collector::front {

namespace {

// The reason alone: "error:0480006C:PEM routines::no start line" says what is wrong at its end.
std::string reason() {
  std::array<char, 256> text{};
  ERR_error_string_n(ERR_get_error(), text.data(), text.size());
  const std::string whole = text.data();
  return whole.substr(whole.rfind(':') + 1);
}

}  // namespace

TlsContext makeTlsContext(const std::string& certificateFile, const std::string& keyFile, std::string& problem) {
  TlsContext context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (!context) {
    problem = "TLS can't be started";
    return nullptr;
  }
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION);
  // Sessions are resumed by tickets, which cost no memory here.
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  // A write that has to wait is repeated from wherever the bytes then lie. A connection that waits keeps no buffers.
  SSL_CTX_set_mode(context.get(),
                   SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS);
  // A key behind a pass phrase is refused: a server has nobody to ask for it.
  SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return 0; });
  ERR_clear_error();
  if (SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) != 1)
    problem = fmt::format("{} can't be used as a certificate: {}", certificateFile, reason());
  else if (SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) != 1)
    problem = fmt::format("{} can't be used as the key of the certificate: {}", keyFile, reason());
  else return context;
  return nullptr;
}

}  // namespace collector::front

// The server's side of TLS: its certificate and key.
//
// Thread:   made by one thread, then used by any.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace collector::front {

using TlsContext = std::shared_ptr<SSL_CTX>;

// Null when a file can't be used; `problem` then says why.
TlsContext makeTlsContext(const std::string& certificateFile, const std::string& keyFile, std::string& problem);

}  // namespace collector::front

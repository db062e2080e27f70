// Channel moves bytes over a socket that doesn't block, as they are or through TLS.
//
// Thread:   one at a time.
// Lifetime: ends before the socket is closed.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <string_view>

#include "collector/front/Tls.h"

namespace collector::front {

class Channel {
 public:
  enum class Outcome { moved, wantsReading, wantsWriting, ended };
  struct Step {
    Outcome outcome;
    std::size_t bytes = 0;
  };

  Channel(int socket, TlsContext tls) : socket_(socket), context_(std::move(tls)), tls_(nullptr, SSL_free) {}

  // To be repeated until it has moved; comes first.
  Step shakeHands();
  Step read(char* bytes, std::size_t size);
  Step write(std::string_view bytes);
  // Whether reading gives something without waiting for the socket.
  [[nodiscard]] bool holdsMore() const { return tls_ && SSL_pending(tls_.get()) > 0; }
  // After the last byte that is written.
  void sayGoodbye();
  // Reads what the client still sends and forgets it, undeciphered.
  Step discard(char* bytes, std::size_t size);

 private:
  Step tlsStep(int result);

  const int socket_;
  const TlsContext context_;
  std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
};

}  // namespace collector::front

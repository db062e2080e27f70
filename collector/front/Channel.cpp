#include "collector/front/Channel.h"

#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace collector::front {

namespace {

bool isTransient() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

int atMost(std::size_t size) { return static_cast<int>(std::min<std::size_t>(size, INT_MAX)); }

}  // namespace

// A client that is silent from the beginning costs no TLS: there is none before its first byte.
Channel::Step Channel::shakeHands() {
  if (!context_) return {Outcome::moved};
  if (!tls_) {
    tls_.reset(SSL_new(context_.get()));
    if (!tls_ || SSL_set_fd(tls_.get(), socket_) != 1) return {Outcome::ended};
  }
  ERR_clear_error();
  return tlsStep(SSL_accept(tls_.get()));
}

Channel::Step Channel::read(char* bytes, std::size_t size) {
  if (!tls_) return discard(bytes, size);
  ERR_clear_error();
  return tlsStep(SSL_read(tls_.get(), bytes, atMost(size)));
}

Channel::Step Channel::write(std::string_view bytes) {
  if (tls_) {
    ERR_clear_error();
    return tlsStep(SSL_write(tls_.get(), bytes.data(), atMost(bytes.size())));
  }
  const auto moved = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (moved >= 0) return {Outcome::moved, static_cast<std::size_t>(moved)};
  return {isTransient() ? Outcome::wantsWriting : Outcome::ended};
}

void Channel::sayGoodbye() {
  ERR_clear_error();
  if (tls_ && SSL_is_init_finished(tls_.get()) != 0) SSL_shutdown(tls_.get());
  ::shutdown(socket_, SHUT_WR);
}

Channel::Step Channel::discard(char* bytes, std::size_t size) {
  const auto moved = ::recv(socket_, bytes, size, 0);
  if (moved > 0) return {Outcome::moved, static_cast<std::size_t>(moved)};
  return {moved < 0 && isTransient() ? Outcome::wantsReading : Outcome::ended};
}

Channel::Step Channel::tlsStep(int result) {
  if (result > 0) return {Outcome::moved, static_cast<std::size_t>(result)};
  switch (SSL_get_error(tls_.get(), result)) {
    case SSL_ERROR_WANT_READ: return {Outcome::wantsReading};
    case SSL_ERROR_WANT_WRITE: return {Outcome::wantsWriting};
    default: return {Outcome::ended};
  }
}

}  // namespace collector::front

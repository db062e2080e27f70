#include "collector/Connection.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

namespace collector {

namespace {

constexpr int kNever = -1;  // no descriptor: poll() leaves it out

bool isTransient() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

int millisecondsUntil(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

// False when the deadline passed or the server stops.
bool waitFor(int socket, short events, int stopping, std::chrono::steady_clock::time_point deadline) {
  std::array<pollfd, 2> watched{{{socket, events, 0}, {stopping, POLLIN, 0}}};
  const int ready = ::poll(watched.data(), watched.size(), millisecondsUntil(deadline));
  if (ready < 0) return errno == EINTR;
  return ready > 0 && watched[1].revents == 0;
}

}  // namespace

Connection::Connection(int socket, TlsContext tls, int stopping, const Limits& limits)
    : socket_(socket),
      stopping_(stopping),
      limits_(limits),
      context_(std::move(tls)),
      tls_(context_ ? SSL_new(context_.get()) : nullptr, SSL_free),
      readDeadline_(Clock::now() + limits.head),
      readable_(limits.headBytes) {
  ::fcntl(socket_, F_SETFL, ::fcntl(socket_, F_GETFL) | O_NONBLOCK);
  if (tls_) SSL_set_fd(tls_.get(), socket_);
}

Connection::~Connection() {
  ERR_clear_error();
  if (tls_ && SSL_is_init_finished(tls_.get()) != 0) SSL_shutdown(tls_.get());
  ::shutdown(socket_, SHUT_WR);
  awaitClose();
  ::close(socket_);
}

bool Connection::shakeHands() {
  if (!context_) return true;
  return tls_ && untilMoved(readDeadline_, stopping_, [&] {
                   ERR_clear_error();
                   return tlsStep(SSL_accept(tls_.get()));
                 }) > 0;
}

void Connection::expectBody() {
  readDeadline_ = Clock::now() + limits_.body;
  readable_ = limits_.bodyBytes;
}

ssize_t Connection::read(char* bytes, std::size_t size) {
  const auto moved = untilMoved(readDeadline_, stopping_, [&] { return tryReading(bytes, std::min(size, readable_)); });
  if (moved > 0) readable_ -= static_cast<std::size_t>(moved);
  return moved;
}

// All of it or -1: the HTTP server takes a short write for a finished one.
ssize_t Connection::write(const char* bytes, std::size_t size) {
  const auto deadline = Clock::now() + limits_.answer;
  for (std::size_t done = 0; done < size;) {
    const auto moved = untilMoved(deadline, kNever, [&] { return tryWriting(bytes + done, size - done); });
    if (moved <= 0) return -1;
    done += static_cast<std::size_t>(moved);
  }
  return static_cast<ssize_t>(size);
}

template <class Try>
ssize_t Connection::untilMoved(Clock::time_point deadline, int stopping, Try attempt) {
  while (Clock::now() < deadline) {
    const Step step = attempt();
    if (step.wanted == 0) return step.moved;
    if (!waitFor(socket_, step.wanted, stopping, deadline)) return -1;
  }
  return -1;
}

Connection::Step Connection::tryReading(char* bytes, std::size_t size) {
  if (size == 0) return {0};  // all that one request may hold has been read
  if (tls_) {
    ERR_clear_error();
    return tlsStep(SSL_read(tls_.get(), bytes, static_cast<int>(std::min<std::size_t>(size, INT_MAX))));
  }
  const auto moved = ::recv(socket_, bytes, size, 0);
  return moved < 0 && isTransient() ? Step{-1, POLLIN} : Step{moved};
}

Connection::Step Connection::tryWriting(const char* bytes, std::size_t size) {
  if (tls_) {
    ERR_clear_error();
    return tlsStep(SSL_write(tls_.get(), bytes, static_cast<int>(std::min<std::size_t>(size, INT_MAX))));
  }
  const auto moved = ::send(socket_, bytes, size, MSG_NOSIGNAL);
  return moved < 0 && isTransient() ? Step{-1, POLLOUT} : Step{moved};
}

Connection::Step Connection::tlsStep(int result) {
  if (result > 0) return {result};
  switch (SSL_get_error(tls_.get(), result)) {
    case SSL_ERROR_WANT_READ: return {-1, POLLIN};
    case SSL_ERROR_WANT_WRITE: return {-1, POLLOUT};
    case SSL_ERROR_ZERO_RETURN: return {0};
    default: return {-1};
  }
}

// Closing over bytes that nobody read resets the connection, and the reset overtakes the answer: a client that is still
// sending a refused body would never learn why.
void Connection::awaitClose() {
  std::array<char, 4096> ignored{};
  const auto deadline = Clock::now() + limits_.linger;
  while (untilMoved(deadline, stopping_, [&] {
           const auto moved = ::recv(socket_, ignored.data(), ignored.size(), 0);
           return moved < 0 && isTransient() ? Step{-1, POLLIN} : Step{moved};
         }) > 0) {
  }
}

}  // namespace collector

// Connection is one client's socket, plain or TLS, as the HTTP server reads and writes it. Every wait has a total
// deadline, so neither silence nor a steady drip can hold a thread, and what is read is counted.
//
// Thread:   the one that serves the client.
// Lifetime: one request; closes the socket in the end.
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <memory>

#include "collector/Limits.h"
#include "collector/Tls.h"

namespace collector {

class Connection final : public httplib::Stream {
 public:
  // `stopping` becomes readable when the server stops; waiting for the client then ends.
  Connection(int socket, TlsContext tls, int stopping, const Limits& limits);
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool shakeHands();  // true at once without TLS
  void expectBody();  // the header lines are in: the limits of the body begin

  [[nodiscard]] bool is_readable() const override { return true; }  // reads wait by themselves
  [[nodiscard]] bool is_writable() const override { return true; }
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string&, int&) const override {}  // nobody looks at addresses
  void get_local_ip_and_port(std::string&, int&) const override {}
  [[nodiscard]] socket_t socket() const override { return socket_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Step {
    ssize_t moved;     // bytes; 0 at the end, -1 on failure
    short wanted = 0;  // poll events to wait for before the next try; 0 when `moved` is the result
  };

  template <class Try>
  ssize_t untilMoved(Clock::time_point deadline, int stopping, Try attempt);
  Step tryReading(char* bytes, std::size_t size);
  Step tryWriting(const char* bytes, std::size_t size);
  Step tlsStep(int result);
  void awaitClose();

  const int socket_;
  const int stopping_;
  const Limits limits_;
  const TlsContext context_;
  std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
  Clock::time_point readDeadline_;
  std::size_t readable_;  // bytes that may still be read
};

}  // namespace collector

// What clients may cost. Times are totals: a steady drip doesn't prolong them.
#pragma once

#include <chrono>
#include <cstddef>

namespace collector::front {

struct Limits {
  std::chrono::milliseconds head{10'000};     // from the connection, or a head's first byte, to its last; TLS included
  std::chrono::milliseconds body{30'000};     // from the head to the body's last byte
  std::chrono::milliseconds answer{30'000};   // from the whole request to the answer's last byte
  std::chrono::milliseconds idle{60'000};     // from an answer to the first byte of the next head
  std::chrono::milliseconds stalled{30'000};  // for the client of a stream to take anything of what waits for it
  std::chrono::milliseconds linger{1'000};    // for the client to close after the last answer
  std::chrono::milliseconds stop{5'000};      // for the requests that are whole when the server stops

  std::size_t headBytes = std::size_t{16} << 10U;
  std::size_t fields = 100;
  std::size_t connections = 4'096;
  std::size_t ofOneAddress = 256;               // connections; an IPv6 address counts as its network of 64 bits
  std::size_t streams = 64;                     // among the connections
  std::size_t memory = std::size_t{64} << 20U;  // bytes of requests, from their arrival to their answer; of handshakes
  std::size_t small = std::size_t{64} << 10U;   // a quarter of the memory is kept for requests up to this size
};

}  // namespace collector::front

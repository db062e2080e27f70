// What one client may cost.
#pragma once

#include <chrono>
#include <cstddef>

namespace collector {

struct Limits {
  std::chrono::milliseconds head{10'000};    // from the connection to the last header line, TLS included
  std::chrono::milliseconds body{30'000};    // for the body, however steadily it drips
  std::chrono::milliseconds answer{10'000};  // for each piece of the answer
  std::chrono::milliseconds linger{1'000};   // for the client to close first
  std::size_t headBytes = std::size_t{64} << 10U;
  std::size_t bodyBytes = std::size_t{16} << 20U;  // read at most, the refused rest of a large body included
  std::size_t connections = 512;                   // served at once; more of them wait
};

}  // namespace collector

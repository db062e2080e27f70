// What the collector has to say of a request that it looked at. It travels with the answer to whoever logs and counts.
//
// Thread: any; values.
#pragma once

#include <cstddef>
#include <string>

namespace collector {

struct Account {
  std::size_t inflated = 0;        // bytes of the body
  std::size_t taken = 0;           // records
  std::size_t refusedRecords = 0;  // the others of the same body
  std::string refusal = {};        // why the request was refused as a whole; "" when it wasn't
};

}  // namespace collector

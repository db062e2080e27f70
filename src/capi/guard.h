// What every C function rests on. All else of the C interface is a client of the public C++ headers, and of
// values/Lasting.h.
//
// Thread: any.
#pragma once

#include <string_view>

namespace zorvane {

// Called inside a catch block: the failure becomes a log line.
void logFailure() noexcept;
void logError(std::string_view line) noexcept;
// True in a forked child, where locks may be held for ever by threads that only the parent has.
bool isForkedChild() noexcept;

// Runs `body`; what it throws is logged instead, and the result is 0, false or null.
template <class Body>
auto guarded(Body body) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    logFailure();
    return decltype(body())();
  }
}

}  // namespace zorvane

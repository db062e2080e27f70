// The log's line for a request.
//
// Thread: any; pure functions.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "collector/base/Log.h"
#include "collector/visits/Account.h"

namespace collector {

struct Entry {
  std::chrono::system_clock::time_point at;
  std::string address;  // as it may be written
  std::string_view method;
  std::string_view path;    // no query: its values may say who plays, or be secret
  std::string_view game;    // a known one, or ""
  int status = 0;           // 0: it got no answer, for the reason in `ending`
  std::string_view ending;  // also of a stream that something ended
  std::size_t received = 0, sent = 0;
  std::chrono::microseconds took{0};
  Account account = {};
};

// Texts of the request are cut and made printable: it can't write lines of its own, nor fill the disk with one.
std::string lineOf(const Entry& entry, Log::Form form);
// The same for other places that show them.
std::string shown(std::string_view text);

}  // namespace collector

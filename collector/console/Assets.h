// The files of the console as the build made them of console/, inside the program.
//
// Thread: any; nothing changes.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace collector {

struct Asset {
  std::string_view path;  // "/" for the page itself
  std::string_view type;
  std::string_view tag;      // of the content
  std::string_view gzipped;  // one gzip member
  std::size_t size;          // of what is in it
};

std::span<const Asset> consoleAssets();

}  // namespace collector

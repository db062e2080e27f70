// Makes rows of records that the rules let pass.
//
// Thread:   one at a time.
// Lifetime: a row lives as long as the body that it came in and the texts that were kept for it.
#pragma once

#include <memory_resource>
#include <string_view>

#include "collector/records/Row.h"
#include "collector/records/Rules.h"

namespace collector {

// Keeps what rows say but a body doesn't hold as it stands: texts that had an escape.
class Texts {
 public:
  // Those that lie in `body` need no keeping.
  explicit Texts(std::string_view body) : body_(body) {}

  std::string_view keep(std::string_view text);

 private:
  std::string_view body_;
  std::pmr::monotonic_buffer_resource memory_;
};

Row rowOf(const Members& members, std::string_view record, Texts& texts);

}  // namespace collector

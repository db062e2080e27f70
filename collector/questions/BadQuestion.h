// BadQuestion ends a question that can't be answered as it was put: it says why, in words for who asked.
//
// Thread: any.
#pragma once

#include <stdexcept>
#include <string>

namespace collector {

class BadQuestion : public std::runtime_error {
 public:
  explicit BadQuestion(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace collector

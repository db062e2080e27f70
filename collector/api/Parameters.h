// Parameters are those of a request's target: each is taken once, and those that nobody took are refused.
//
// Thread: any; values.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace collector {

// Ends a request with a status and the reason.
class Refused : public std::runtime_error {
 public:
  Refused(int status, const std::string& detail) : std::runtime_error(detail), status_(status) {}
  [[nodiscard]] int status() const { return status_; }

 private:
  int status_;
};

class Parameters {
 public:
  // Throws Refused, as all of it does.
  explicit Parameters(std::string_view target);

  std::string take(const std::string& name, std::string fallback = "");
  std::string takeNeeded(const std::string& name);
  std::int64_t takeWhole(const std::string& name, std::int64_t fallback, std::int64_t least, std::int64_t most);
  void expectNoOthers() const;
  // Those that are left.
  [[nodiscard]] const std::map<std::string, std::string>& rest() const { return values_; }

 private:
  std::map<std::string, std::string> values_;
};

}  // namespace collector

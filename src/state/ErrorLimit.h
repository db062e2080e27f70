// How often the library may report each type of its own errors.
//
// Thread: the work queue; while a crash is handled, the thread that does.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace zorvane {

class ErrorLimit {
 public:
  [[nodiscard]] int count(const std::string& type) const;
  void increment(const std::string& type);
  void resetCount(const std::string& type);
  [[nodiscard]] double startOf(const std::string& type) const;  // seconds since 1970
  void resetStart(const std::string& type);
  bool allows(const std::string& type);

 private:
  std::map<std::string, int> counts_;
  // Never made: a type's period always begins now, so no period ever ends and a type that was counted to the limit
  // stays refused for the life of the process. That keeps a fault that repeats from ever flooding the collector.
  std::optional<std::map<std::string, double>> starts_;
};

}  // namespace zorvane

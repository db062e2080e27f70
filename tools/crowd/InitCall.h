// The init call at a session's start: what it sends and what its answer means.
//
// Thread: any; values and pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crowd/Person.h"

namespace crowd {

// Configurations and experiment, as the collector gave them last.
struct RemoteConfigs {
  struct Entry {
    std::string key, value;  // the value as JSON
    std::optional<std::int64_t> start, end;
  };
  std::vector<Entry> entries;
  std::string hash, abId, abVariant;

  // Those in force at `now`, as a JSON object; "" when none is.
  [[nodiscard]] std::string inForce(std::int64_t now) const;
};

struct InitAnswer {
  std::optional<std::int64_t> serverTime;
  std::optional<RemoteConfigs> configs;  // absent where those of before hold
};

std::string initTarget(std::string_view gameKey, const RemoteConfigs& known);
std::string initBody(const Person& person, const Build& build, std::int64_t sessionsBefore);
// Absent when the answer is none that an init call may have.
std::optional<InitAnswer> readInitAnswer(unsigned status, std::string_view body);

}  // namespace crowd

// What the game configured: keys, versions, switches, the lists that it declared and what it adds to its events.
//
// Thread: the work queue, but for the switches, which are read on any.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include <zorvane/ZVTypes.h>

#include "values/GameKeys.h"

namespace zorvane {

struct Switches {
  std::atomic<bool> manualSessionHandling{false};
  std::atomic<bool> errorReporting{true};
  std::atomic<bool> eventSubmission{true};
};

struct Versions {
  std::optional<std::string> build;
  std::optional<std::string> sdkWrapper;
  std::optional<std::string> engine;
  bool autoDetectBuild = false;
};

struct Declared {
  std::array<ZVTextList, 3> customDimensions;  // 01 to 03
  ZVTextList resourceCurrencies;
  ZVTextList resourceItemTypes;
};

using Dimensions = std::array<std::optional<std::string>, 3>;  // 01 to 03

// The fields that go with every event. What a game sets is cleaned once, when the first event needs it.
class GlobalFields {
 public:
  void set(ZVMap fields) {
    fields_ = std::move(fields);
    isClean_ = false;
  }
  [[nodiscard]] const ZVMap& asTheyAre() const { return fields_; }
  // `clean`: from fields to the fields that may stay.
  template <class Clean>
  const ZVMap& cleaned(Clean clean) {
    if (!isClean_) fields_ = clean(fields_);
    isClean_ = true;
    return fields_;
  }

 private:
  ZVMap fields_;
  bool isClean_ = true;
};

struct Configuration {
  Switches switches;
  Versions versions;
  GameKeys keys;
  Declared declared;
  Dimensions dimensions;
  GlobalFields globalFields;
};

}  // namespace zorvane

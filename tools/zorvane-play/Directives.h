// What a recording can ask besides the facade's operations: the application's life, waiting, killing.
//
// Thread: the main thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVPlatform.h>
#include <zorvane/ZVTypes.h>

struct Directive {
  std::string_view name;
  std::optional<std::string> (*check)(const ZVValue::Array& arguments);
  void (*play)(const ZVValue::Array& arguments);
};

const Directive* findDirective(std::string_view name);

// "@platform" is no step: it says what is there before the first call. Refused with what is wrong.
inline constexpr std::string_view kPlatformDirective = "@platform";
std::optional<std::string> readPlatform(const ZVValue::Array& arguments, ZVPlatform& platform);

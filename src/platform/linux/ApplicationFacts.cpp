#include <filesystem>
#include <string_view>

#include "platform/Defaults.h"

namespace zorvane {

namespace {

constexpr std::string_view kReplaced = " (deleted)";  // what the kernel adds once an update has replaced the file

}  // namespace

ZVApplicationFacts defaultApplicationFacts() {
  std::error_code failure;
  std::string name = std::filesystem::read_symlink("/proc/self/exe", failure).filename().string();
  if (name.ends_with(kReplaced)) name.resize(name.size() - kReplaced.size());

  ZVApplicationFacts facts;
  if (!name.empty()) facts.bundleIdentifier = std::move(name);
  return facts;
}

}  // namespace zorvane

#include "platform/CallStack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <memory>

namespace {

constexpr std::size_t kMostFrames = 128;

std::string symbolLine(void* frame) {
  const auto* const address = static_cast<const char*>(frame);
  Dl_info place{};
  // A call that never returns may be a function's last instruction: the address after it is another function's.
  if (dladdr(address - 1, &place) == 0) return fmt::format("[{}]", frame);
  const void* const start = place.dli_sname != nullptr ? place.dli_saddr : place.dli_fbase;
  return fmt::format("{}({}+{:#x}) [{}]", place.dli_fname,
                     place.dli_sname != nullptr ? demangled(place.dli_sname) : std::string(),
                     address - static_cast<const char*>(start), frame);
}

}  // namespace

void prepareCallStack() noexcept {
  void* frame = nullptr;
  backtrace(&frame, 1);
}

std::vector<std::string> callStack() {
  std::array<void*, kMostFrames> frames{};
  const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
  std::vector<std::string> lines;
  lines.reserve(kMostFrames);
  for (int index = 0; index < count; ++index) lines.push_back(symbolLine(frames[static_cast<std::size_t>(index)]));
  return lines;
}

std::string demangled(const char* symbol) {
  const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(symbol, nullptr, nullptr, nullptr),
                                                         &std::free);
  return name ? name.get() : symbol;
}

#include "platform/CallStack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fmt/format.h>

#include <cstdlib>
#include <memory>

namespace zorvane {

void prepareCallStack() noexcept {
  void* frame = nullptr;
  backtrace(&frame, 1);
}

void captureFrames(CallStack& stack) noexcept {
  stack.count = 0;  // unwinding a broken stack may not come back
  stack.count = static_cast<std::size_t>(backtrace(stack.frames.data(), static_cast<int>(stack.frames.size())));
}

void locateFrames(CallStack& stack) noexcept {
  for (std::size_t index = 0; index < stack.count; ++index) stack.places[index] = placeOf(stack.frames[index]);
}

FramePlace placeOf(const void* frame) noexcept {
  Dl_info place{};
  // A call that never returns may be a function's last instruction: the address after it is another function's.
  if (dladdr(static_cast<const char*>(frame) - 1, &place) == 0) return {};
  return {place.dli_fname, place.dli_sname, place.dli_sname != nullptr ? place.dli_saddr : place.dli_fbase};
}

std::string describeFrame(const void* frame, const FramePlace& place, const void* shown) {
  if (place.module == nullptr) return fmt::format("[{}]", shown);
  return fmt::format("{}({}+{:#x}) [{}]", place.module,
                     place.symbol != nullptr ? demangled(place.symbol) : std::string(),
                     static_cast<const char*>(frame) - static_cast<const char*>(place.start), shown);
}

std::string demangled(const char* symbol) {
  const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(symbol, nullptr, nullptr, nullptr),
                                                         &std::free);
  return name ? name.get() : symbol;
}

}  // namespace zorvane

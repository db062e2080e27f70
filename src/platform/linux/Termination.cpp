#include "platform/Termination.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>

namespace zorvane {

bool wasSetBySomebody(std::terminate_handler handler) noexcept {
  return handler != nullptr && handler != __gnu_cxx::__verbose_terminate_handler && handler != std::abort;
}

const char* uncaughtExceptionType() noexcept {
  const std::type_info* const type = abi::__cxa_current_exception_type();
  return type != nullptr ? type->name() : nullptr;
}

std::optional<std::string_view> uncaughtExceptionReason(std::span<char> room) {
  if (uncaughtExceptionType() == nullptr) return std::nullopt;
  try {
    throw;
  } catch (const std::exception& exception) {
    const std::string_view reason = exception.what();
    return std::string_view(room.data(), reason.copy(room.data(), room.size()));
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace zorvane

#include "platform/Termination.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>

#include "platform/CallStack.h"

bool wasSetBySomebody(std::terminate_handler handler) noexcept {
  return handler != nullptr && handler != __gnu_cxx::__verbose_terminate_handler && handler != std::abort;
}

UncaughtException uncaughtException() {
  const std::type_info* const type = abi::__cxa_current_exception_type();
  if (type == nullptr) return {"std::terminate", std::nullopt};
  try {
    throw;
  } catch (const std::exception& exception) {
    return {demangled(type->name()), exception.what()};
  } catch (...) {
    return {demangled(type->name()), std::nullopt};
  }
}

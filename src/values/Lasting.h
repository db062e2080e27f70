// What a file keeps for the whole process: the one T there is.
//
// Thread:   any.
// Lifetime: made on first use and never destroyed, as the library's threads outlive static destruction. Not on the
// heap:
//           where that has nothing left, operations that must not throw go on.
#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <type_traits>

namespace zorvane {

template <class T>
T& lasting() noexcept {
  static_assert(std::is_nothrow_default_constructible_v<T>);
  alignas(T) static constinit std::array<std::byte, sizeof(T)> room{};
  static T* const instance = new (room.data()) T;
  return *instance;
}

}  // namespace zorvane

// Functions that the host has given the library to call, with the point from which they aren't called any more.
//
// Thread:   any.
// Lifetime: kept by those who call the functions.
#pragma once

#include <memory>

namespace zorvane {

class HostFunctions {
 public:
  HostFunctions();
  ~HostFunctions();
  HostFunctions(const HostFunctions&) = delete;
  HostFunctions& operator=(const HostFunctions&) = delete;

  // Runs `body`, which calls a function of the host. Not once they are detached. No lock is held meanwhile: the
  // function may wait for a lock of the library's whose holder is about to call it, too.
  template <class Body>
  void call(Body body) {
    if (const Visit visit(*this); visit.allowed) body();
  }

  // No call begins any more. Waits until every thread has left them, unless this is called inside a function of the
  // host: it could wait for itself.
  void detach() noexcept;
  // The same for all that there are.
  static void detachAll() noexcept;

 private:
  struct Visit {
    explicit Visit(HostFunctions& visited) noexcept;
    ~Visit();
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    HostFunctions& functions;
    const bool allowed;
  };
  struct Registry;
  static Registry& registry() noexcept;
  bool enter() noexcept;
  void leave() noexcept;

  bool detached_ = false;  // guarded by the registry's mutex
  int threadsInside_ = 0;  // guarded by the registry's mutex
};

}  // namespace zorvane

// The frame of every public operation: the library is loaded, nothing thrown gets out, a forked child does nothing.
//
// Thread: any.
#pragma once

#include <string_view>
#include <utility>

#include <zorvane/ZVTypes.h>

#include "platform/Process.h"
#include "runtime/ZVThreading.h"

namespace zorvane {

// Loads the library on first use: opens the database (as a task) and makes the state record, before the caller's own
// task is posted. False in a forked child, which must not touch its parent's database. Throws where the machine has no
// thread or memory left.
bool enterLibrary();

// Called inside a catch block.
void logFailedCall() noexcept;

// Runs `body` on the caller's thread.
template <class Body>
void call(Body&& body) noexcept {
  try {
    if (enterLibrary()) body();
  } catch (...) {
    logFailedCall();
  }
}

// The same, even before the library is loaded if that call is the first.
template <class Body>
void callBeforeLoading(Body&& body) noexcept {
  try {
    if (!inForkedChild()) body();
    enterLibrary();
  } catch (...) {
    logFailedCall();
  }
}

// Posts to the work queue the task that `makeTask` returns: a callable that owns copies of the call's arguments.
template <class MakeTask>
void post(MakeTask&& makeTask) noexcept {
  call([&] { ZVThreading::performTaskOnZVThreadWithBlock(makeTask()); });
}

// Whether the library can take what a task wants of it. Asked inside the task. The warning of a failure begins with
// `message`, when there is one.
bool isSdkReadyWithNeedsInitialized(bool needsInitialized, bool warn = true, ZVText message = {});

}  // namespace zorvane

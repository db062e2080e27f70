/// @file
/// Crash reporting: an uncaught C++ exception or a fatal signal becomes one critical error event, which is stored and
/// sent before the process ends with status 1, or else by the next start.
#pragma once

#include <zorvane/ZVExport.h>

/// Installs the handlers: a terminate handler, and one for SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGFPE, SIGBUS, SIGSEGV,
/// SIGSYS, SIGPIPE, SIGALRM, SIGXCPU and SIGXFSZ, but for those that the process ignores. Does nothing while error
/// reporting is switched off, or where ZVPlatform::crashHandlers is false.
///
/// The initialise calls of Zorvane do this; a game calls it only to put the handlers back after replacing them. A
/// terminate handler that the game had set before is called after the report. Earlier signal handlers are replaced,
/// with a warning that names them; ZVWaitForCrashHandlers() says when others may be set instead.
///
/// - Thread: any; returns at once. After a crash the handlers run on the thread that crashed and on one of the
///   library's, and end the process within seconds even where they can't go on. A stack that has overflowed has no room
///   for them.
ZORVANE_API void setZVUncaughtExceptionHandlers() noexcept;

/// The state of the crash handlers.
enum class ZVCrashHandlers : int {
  undecided = 0,  ///< no initialise call has decided yet
  installed = 1,  ///< they are in force: from here on a host may replace them by its own
  keptAway = 2,   ///< by a switch, or because the machine had no thread left for them
};

/// Waits until the initialise call has decided; its work is done on the library's thread. At most `seconds`, and not at
/// all on that thread or in a forked child. Neither the network nor the session's start is waited for.
///
/// - Thread: any.
ZORVANE_API ZVCrashHandlers ZVWaitForCrashHandlers(double seconds) noexcept;

// Crash reporting: an uncaught C++ exception or a fatal signal becomes one critical error event, which is stored and
// sent before the process ends with status 1.
#pragma once

#include <zorvane/ZVExport.h>

// Installs the handlers: a terminate handler, and one for SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGFPE, SIGBUS, SIGSEGV,
// SIGSYS, SIGPIPE, SIGALRM, SIGXCPU and SIGXFSZ. Does nothing while error reporting is switched off.
//
// The initialise calls of Zorvane do this; a game calls it only to put the handlers back after replacing them. A
// terminate handler that the game had set before is called after the report. Earlier signal actions are replaced, also
// "ignore": a game that ignores SIGPIPE says so again after initialisation, or it ends with the next broken connection.
//
// Thread: any; returns at once. After a crash the handlers run on the thread that crashed, and end the process within
// seconds even where it can't go on. A stack that has overflowed has no room for them.
ZORVANE_API void setZVUncaughtExceptionHandlers() noexcept;

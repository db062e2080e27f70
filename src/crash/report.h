// The text of a crash report: at most 8192 UTF-16 code units.
//
// Thread: the one that crashed, whose stack is told.
#pragma once

#include <string>

#include "platform/Termination.h"

// Asks the host for what a report says of the application: after a crash its functions can't be relied upon. Any
// thread; the first call asks.
void prepareReports();

std::string exceptionReport(const UncaughtException& exception);
std::string signalReport();

// The error events of crashes that earlier runs could not store themselves, made of what crash/first_form.h left.
//
// Thread: the work queue; isCrashWaiting() also on one that handles a crash.
#pragma once

#include <optional>
#include <string>

namespace zorvane {

// Stores an event for each, with the session, the time and all the common fields of the run that crashed. Exactly once:
// a file is held by the one start that makes its event and is removed once that is stored; the event's id shows whether
// an earlier start stored it. To be called when events can be stored and before this process's first session, for
// storing an event renews the snapshot of the session that is open. Does nothing while error reporting or event
// submission is off: the files stay for a start with both. True when an event was stored.
bool reportCrashesLeftBehind();

// Whether the event with that id waits to be sent. Absent: the database didn't say.
std::optional<bool> isCrashWaiting(const std::string& id);

}  // namespace zorvane

// The first form of a crash report: what is certain to survive, in this process's crash file, before anything is tried
// that may not come back. The next start makes an event of it (crash/left_behind.h), unless this process has stored the
// event itself.
//
// A file is lines, each a word and what follows it:
//
//   zorvane crash 1
//   id 6f9619ff-8b86-4d01-b42d-00cf4fc964ff               the event's event_uuid
//   application ["Gliodra version 1421 build (null)\n"]   the report's first line, in a JSON array
//   fields {"v":2,"user_id":...}                          the common fields as the last event had them
//   after 12                                              seconds from the fields' client_ts to the crash
//   exception St13runtime_error                           of an exception only: its type's symbol, "-" without one
//   frame 0 7f0c8a03c0de                                  its number and address
//   frame 0 7f0c8a03c0de 3c0de 1700000000000000000 /usr/lib/libc.so.6
//                                                         and its offset in the module, when that was written, its path
//   text 123                                              the whole report, once it was made: its bytes, then itself
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

#include "platform/CallStack.h"

namespace zorvane {

inline constexpr std::string_view kFirstFormHeader = "zorvane crash 1";

// Opens the file and chooses the event's id. Any thread, one at a time, while nothing crashes. False: there is no file.
bool prepareFirstForm(const std::string& firstLine);

// The common fields from now on, as JSON. Work queue.
void rememberForCrash(std::string_view json);
// The same with the dimensions as they are now. Work queue. The global custom fields stay those of the last event: to
// clean new ones is to warn of them, which is an event's to do.
void rememberDimensionsForCrash();

// In a signal handler, in this order. System calls and memory of their own, nothing else. Without a beginning the
// others do nothing.
void beginFirstForm() noexcept;
void addExceptionToFirstForm(const char* type) noexcept;  // null: there is none
void addFramesToFirstForm(const CallStack& stack) noexcept;

// Later, where more is possible. Without a first form they do nothing.
void addTextToFirstForm(std::string_view report) noexcept;
void withdrawFirstForm() noexcept;  // the event is stored

std::string crashId();        // of the event that is made of this crash
void prepareNextFirstForm();  // the process goes on after all: its next crash is another one

}  // namespace zorvane

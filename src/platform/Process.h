// The process that the library lives in: its forks, and its end.
//
// Thread: any.
#pragma once

namespace zorvane {

// From now on inForkedChild() is true in every child that is forked off. Once is enough; more does no harm.
void watchForForks() noexcept;

// True in a child made by fork(), where the library's threads don't exist and its files belong to the parent.
bool inForkedChild() noexcept;

// Runs `last` when the exit handlers and the destructors of the program's statics have run.
void callAtTheVeryEnd(void (*last)()) noexcept;

// Keeps the cryptography library in place until the process is gone. By default it takes itself apart at exit, under
// the hands of the threads that still send. Counts only before the first use of that library.
void keepCryptographyAtExit() noexcept;

}  // namespace zorvane

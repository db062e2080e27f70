// A file of this process's own in the data directory, for what a dying process still wants to say. It is opened
// beforehand, stays empty while all is well, and is removed at a normal exit.
//
// Names are "crash_0", "crash_1" ...: as many as there may be. The living owner holds a lock on its file, which the
// system takes from it when it dies: a file that nobody holds was left behind.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zorvane {

// Opens the file. Once is enough; more does no harm. False: there is none, for the directory can't be written or all
// names are taken. Any thread, one at a time.
bool prepareCrashFile(const std::string& directory);

// In a signal handler, too. Without a file they do nothing.
bool beginCrashFile() noexcept;  // false: there is no file
void appendToCrashFile(std::string_view text) noexcept;
void emptyCrashFile() noexcept;

// What a process that is no more has left. Held: another process that starts meanwhile doesn't see it.
class LeftCrashFile {
 public:
  virtual ~LeftCrashFile() = default;  // keeps the file for the next start, unless remove() was called
  virtual std::string text() const = 0;
  virtual void remove() noexcept = 0;
};
// Those with something in them; empty ones are removed on the way. A file is held from here on.
std::vector<std::unique_ptr<LeftCrashFile>> crashFilesLeftIn(const std::string& directory);

}  // namespace zorvane

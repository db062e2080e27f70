#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <variant>

#include "collector/commands/Commands.h"

namespace {

// Where one is closed, the next file or connection would take its number, and get what is written for people.
void fillStandardDescriptors() {
  int opened = 0;
  do opened = ::open("/dev/null", O_RDWR);
  while (opened >= 0 && opened <= STDERR_FILENO);
  if (opened >= 0) ::close(opened);
}

}  // namespace

int main(int count, char** arguments) {
  fillStandardDescriptors();
  try {
    return std::visit([](const auto& command) { return collector::run(command); },
                      collector::readCommand(count, arguments));
  } catch (const std::exception& failure) {
    return collector::complain(failure.what(), 1);
  }
}

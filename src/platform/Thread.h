// Threads of the library's own. They take no signal of the game's, so its handlers run on its own threads, and no
// write of theirs can raise SIGPIPE.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace zorvane {

// `name`: at most 15 bytes, shown by debuggers.
std::thread startThread(std::string name, std::function<void()> body);

}  // namespace zorvane

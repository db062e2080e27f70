// Library is the library in this process, between a platform under control and a collector that is a function: nothing
// leaves the process.
//
// Thread:   the one that runs the inputs. What it is given to run runs on the library's work queue.
// Lifetime: one instance, never destroyed. forget() makes every input begin like a first run.
#pragma once

#include <zorvane/ZVPlatform.h>
#include <zorvane/ZVTypes.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Fuzz.h"

namespace fuzz {

inline constexpr const char* kKey = "0123456789abcdef0123456789ABCDEF";
inline constexpr const char* kSecret = "0123456789abcdef0123456789ABCDEF01234567";

struct Reply {
  std::optional<std::string> body;
  long status = 0;  // 0: none
  int error = 0;    // of ZVURLError; 0: none
};

class Library {
 public:
  static Library& get();

  void forget();                                // memory and database
  void restart();                               // memory: the process ended without a word and runs again
  void initialise();                            // with the keys above; a session begins
  void run(const std::function<void()>& task);  // on the work queue
  void settle();                                // has the work queue run what was posted to it
  void fireTimers();                            // the event queue's among them
  void insert(const char* sql, std::initializer_list<std::string_view> texts);
  std::vector<std::string> stored();  // the records that wait, oldest first
  // Every record that waits and every one that was sent is taken by the collector.
  void requireThatAllIsTaken();

  double now = 1'700'000'000;
  std::function<Reply(const ZVURLRequest&)> answer;  // empty: no connection
  std::vector<ZVURLRequest> sent;

 private:
  Library();
  class Worker;
  class Loop;
  std::unique_ptr<Worker> worker_;
  std::shared_ptr<Loop> loop_;
};

// A map of what the input says, nested as far as it goes on.
ZVMap mapOf(Input& input, int depth = 0);
bool isInit(const ZVURLRequest& request);

}  // namespace fuzz

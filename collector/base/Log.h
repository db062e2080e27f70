// Log writes lines to a descriptor from a thread of its own. A reader that is slow or gone costs lines, which are
// counted, never a request or the process.
//
// Thread:   any.
// Lifetime: writes in the end what waits, as far as somebody reads it. The process ignores SIGPIPE.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace collector {

class Log {
 public:
  enum class Form : std::uint8_t { text, json };

  explicit Log(int descriptor, Form form = Form::text);
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  // A line about the collector itself, with the time.
  void write(std::string_view message);
  // A line that is written in the log's form already.
  void writeLine(std::string_view line);

  [[nodiscard]] Form form() const { return form_; }
  [[nodiscard]] std::int64_t lost();  // lines, since the start

 private:
  void run();
  void put(std::string_view text);
  void lose(std::string_view text);
  bool isEnding();

  const int descriptor_;
  const Form form_;
  std::mutex guard_;
  std::condition_variable changed_;
  std::string waiting_;        // guarded by guard_; whole lines
  std::int64_t lost_ = 0;      // guarded by guard_
  std::int64_t reported_ = 0;  // guarded by guard_; of those lost
  bool ending_ = false;        // guarded by guard_
  std::thread thread_;
};

}  // namespace collector

// The latest reports in words, for a corner of the window: what a programmer looks at while they come in elsewhere.
//
// Thread:   the game's main thread.
// Lifetime: its telemetry's.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <utility>

class Ticker {
 public:
  struct Line {
    std::chrono::steady_clock::time_point at;
    std::string words;
  };

  void add(std::string words) {
    lines_.push_back({std::chrono::steady_clock::now(), std::move(words)});
    if (lines_.size() > kMostLines) lines_.pop_front();
  }
  [[nodiscard]] const std::deque<Line>& lines() const { return lines_; }  // the latest last

 private:
  static constexpr std::size_t kMostLines = 6;

  std::deque<Line> lines_;
};

// The latest requests that were refused as a whole, or closed unanswered by the collector: in memory only, so that what
// strangers send costs no disk. The oldest make room.
//
// Thread: any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace collector {

struct RefusedVisit {
  std::int64_t at = 0;  // seconds since 1970
  std::string address;
  std::string method;
  std::string path;
  std::string game;  // a known one, or ""
  int status = 0;    // 0: it got no answer
  std::string why;
};

class RefusedVisits {
 public:
  static constexpr std::size_t kKept = 300;

  void add(RefusedVisit visit);
  [[nodiscard]] std::vector<RefusedVisit> latest(std::size_t most) const;  // the latest first

 private:
  mutable std::mutex guard_;
  std::deque<RefusedVisit> visits_;  // guarded by guard_
};

}  // namespace collector

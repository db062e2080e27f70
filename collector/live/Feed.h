// Feed is the memory of what arrived last for one game: records and refusals as they are passed on to those who listen.
// Of a game that sends much it keeps some, so many a second; besides, what somebody looks for in particular, and what
// is wrong.
//
// Thread:   one at a time.
// Lifetime: entries own their texts, and outlive it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collector/archive/Taken.h"
#include "collector/records/Row.h"

namespace collector {

// Which records somebody wants to see; "": all.
class Interest {
 public:
  Interest() = default;
  Interest(std::string userId, std::string sessionId);

  [[nodiscard]] bool isEmpty() const { return userId_.empty() && sessionId_.empty(); }
  [[nodiscard]] bool fits(const Row& row) const;
  // A refused record may be no JSON: it fits where it holds the texts.
  [[nodiscard]] bool fits(std::string_view refused) const;
  [[nodiscard]] bool fits(std::string_view userId, std::string_view sessionId) const;

 private:
  std::string userId_, sessionId_;
};

class Feed {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t kEntries = 500;
  static constexpr std::size_t kBytes = std::size_t{1} << 20U;
  static constexpr std::size_t kRecord = std::size_t{64} << 10U;  // of a longer one its length alone is passed on
  static constexpr double kRate = 200;                            // of each of these a second, and as many at once

  struct Entry {
    std::uint64_t number;
    std::string userId, sessionId;
    std::string refused;  // the beginning of a record that was refused
    bool isRefused;
    std::string text;  // as a server-sent event
  };
  using Entries = std::vector<std::shared_ptr<const Entry>>;

  // Numbers begin behind `number`.
  explicit Feed(std::uint64_t number) : last_(number) {}

  // `wanted`: the interests of those who look for something in particular.
  void add(const Taken& taken, const std::vector<const Interest*>& wanted, Clock::time_point now);
  // All of a player who is to be erased.
  void forget(const std::string& userId);
  void forgetAll();
  // Those behind that number which fit, of them the latest ones.
  [[nodiscard]] Entries after(std::uint64_t number, const Interest& interest, std::size_t most) const;
  [[nodiscard]] std::uint64_t last() const { return last_; }

 private:
  // So many a second on average.
  class Allowance {
   public:
    bool take(Clock::time_point now);

   private:
    double left_ = kRate;
    Clock::time_point at_ = {};
  };

  Allowance& allowanceFor(const Row& row, const std::vector<const Interest*>& wanted);
  void keep(Entry entry);
  static bool fits(const Entry& entry, const Interest& interest);

  std::deque<std::shared_ptr<const Entry>> entries_;
  std::size_t bytes_ = 0;
  std::uint64_t last_;
  Allowance any_, particular_, wrong_;
};

}  // namespace collector

// Hub passes what games send on to those who listen, a moment after it was kept: so many a second, and how many more
// there were. A listener that is slow misses some, and holds up nobody.
//
// Thread:   any; events are put together and passed on by a thread of its own.
// Lifetime: longer than whoever adds to it. Streams end with the front.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "collector/archive/Taken.h"
#include "collector/front/Stream.h"
#include "collector/live/Feed.h"

namespace collector {

class Hub {
 public:
  struct Pace {
    std::chrono::milliseconds between = std::chrono::milliseconds(100);  // pieces
    std::size_t ofPiece = 20;                                            // records and refusals
    std::size_t behind = 200;                                      // of what waits, the latest; the rest is skipped
    std::size_t atFirst = 50;                                      // of what came before
    std::chrono::milliseconds silence = std::chrono::seconds(10);  // then a comment says that it is still there
    std::chrono::milliseconds betweenSkipped = std::chrono::seconds(1);  // counts of what was skipped
  };

  Hub() : Hub(Pace()) {}
  explicit Hub(Pace pace);
  ~Hub();
  Hub(const Hub&) = delete;
  Hub& operator=(const Hub&) = delete;

  // What is on the disk. It costs little, whoever listens, and never fails.
  void add(const Taken& taken) noexcept;

  // What is remembered of a player who was erased, as the archive's erasure of that number.
  void forget(const std::string& game, const std::string& userId, std::int64_t erasure);
  // The number of the archive's last erasure, to be said before anything is added and before each listener comes. If
  // it was another process that erased, nobody knows whom, so all that is remembered is forgotten.
  void expectErased(std::int64_t last);

  struct Wish {
    std::string game;
    Interest interest = {};
    std::optional<std::uint64_t> behind = {};  // the last event that the listener has got
  };
  // What came before, then what comes, as text/event-stream.
  std::shared_ptr<front::Stream> listen(Wish wish);

 private:
  using Clock = Feed::Clock;
  struct Listener {
    std::string game;
    Interest interest;
    std::weak_ptr<front::Stream> stream;
    std::uint64_t seen;           // the number of the last event that was passed on
    std::uint64_t came = 0;       // records and refusals for it
    std::uint64_t accounted = 0;  // those of them that were passed on, or that it knows of as skipped
    Clock::time_point spoke = {}, countedSkipped = {};
  };
  using Piece = std::pair<std::shared_ptr<front::Stream>, std::string>;

  static std::uint64_t countFor(const Interest& interest, const Taken& taken);
  Feed& feedOf(const std::string& game);
  void passOn();
  std::vector<Piece> pieces(Clock::time_point now);
  std::string nextFor(Listener& listener, std::size_t room, Clock::time_point now);

  const Pace pace_;
  std::mutex guard_;
  std::condition_variable changed_;
  std::map<std::string, Feed> feeds_;  // guarded by guard_, and so is what follows
  std::list<Listener> listeners_;
  std::int64_t erasures_ = 0;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace collector

// Stream is an answer without a known end: whoever has something to say puts it in, piece by piece, and the front sends
// it on as fast as the client takes it. What waits is bounded: a client that is too slow misses pieces.
//
// Thread:   put() and end() any; the rest is the front's.
// Lifetime: the front keeps it while the client is there. The source keeps a weak pointer, which expires when the
// client
//           has left.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace collector::front {

class Stream {
 public:
  static constexpr std::size_t kRoom = std::size_t{256} << 10U;  // bytes that wait for the client

  // False: there is no room for it before the client has taken what waits, and nothing of it is sent.
  bool put(std::string_view piece);
  // How much put() takes now. No less later, but for what is put in.
  [[nodiscard]] std::size_t room();
  // Nothing more comes.
  void end();

  struct Taken {
    std::string bytes;
    bool isLast;
  };
  // `wake` is called by any thread, under a lock, when there is something to take again. It must only pass that on.
  void awaken(std::function<void()> wake);
  // All that waits. What was taken before has been sent by now.
  Taken take();

 private:
  std::mutex guard_;
  std::string waiting_;        // guarded by guard_, and so is what follows
  std::size_t beingSent_ = 0;  // bytes that were taken last
  bool hasEnded_ = false;
  std::function<void()> wake_ = [] {};
};

}  // namespace collector::front

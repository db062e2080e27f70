// Room bounds the memory of all requests that are being looked at or wait for the disk: a client that is gone takes no
// more of the front's, but what it sent is still here.
//
// Thread:   any.
// Lifetime: as long as any of its parts.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

namespace collector {

class Room {
 public:
  explicit Room(std::size_t bytes) : bytes_(bytes) {}

  // What one request takes of it, until the end of its life. One that is alone has room, however large it is: else it
  // would never have.
  class Part {
   public:
    explicit Part(std::shared_ptr<Room> of) : of_(std::move(of)) {}
    ~Part() { of_->taken_ -= bytes_; }
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    // Takes so much from now on. False: there isn't room for it, and it takes what it did.
    bool resize(std::size_t bytes);

   private:
    const std::shared_ptr<Room> of_;
    std::size_t bytes_ = 0;
  };

  [[nodiscard]] std::size_t taken() const { return taken_; }

 private:
  const std::size_t bytes_;
  std::atomic<std::size_t> taken_ = 0;
};

}  // namespace collector

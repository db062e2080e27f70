#include "codecs/uuids.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>

#include <openssl/rand.h>

#include "codecs/hex.h"

namespace zorvane {

namespace {

using UuidBytes = std::array<std::uint8_t, 16>;

// Random bytes, drawn for many ids at once: the generator's own work is the same for one as for all of them.
class RandomIds {
 public:
  UuidBytes next() {
    if (used_ == ids_.size()) draw();
    return ids_[used_++];
  }

 private:
  void draw() {
    auto* const bytes = ids_.front().data();
    if (RAND_bytes(bytes, sizeof ids_) != 1) {
      std::random_device source;
      std::generate_n(bytes, sizeof ids_, [&] { return static_cast<std::uint8_t>(source()); });
    }
    used_ = 0;
  }

  std::array<UuidBytes, 64> ids_{};
  std::size_t used_ = ids_.size();
};

std::string uuid(std::string_view digits) {
  thread_local RandomIds ids;
  UuidBytes bytes = ids.next();
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);  // version 4: random
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);  // the standard variant
  std::string text;
  text.reserve(36);
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at == 4 || at == 6 || at == 8 || at == 10) text += '-';
    appendHex(text, bytes[at], digits);
  }
  return text;
}

}  // namespace

std::string randomUuid() { return uuid(kLowerHex); }
std::string randomUpperUuid() { return uuid(kUpperHex); }

}  // namespace zorvane

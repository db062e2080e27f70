#include "collector/base/Inflate.h"

#include <zlib.h>

#include <algorithm>
#include <memory>
#include <new>

namespace collector {

namespace {

constexpr int kGzipOnly = 15 + 16;
constexpr std::size_t kMostOfOne = 1032;  // bytes that one byte can stand for

struct InflateEnd {
  void operator()(z_stream* stream) const noexcept { inflateEnd(stream); }
};

// A member ends with the size of its content. That may be a lie, which costs no more than the truth would.
std::size_t announcedSize(std::string_view member) {
  if (member.size() < 4) return 0;
  std::size_t size = 0;
  for (std::size_t at = 1; at <= 4; ++at) size = size << 8U | static_cast<unsigned char>(member[member.size() - at]);
  return std::min(size, member.size() * kMostOfOne);
}

}  // namespace

InflateOutcome inflateGzip(std::string_view member, std::size_t limit, std::string& text) {
  z_stream stream{};
  if (inflateInit2(&stream, kGzipOnly) != Z_OK) throw std::bad_alloc();
  const std::unique_ptr<z_stream, InflateEnd> owner(&stream);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(member.data()));  // zlib reads only
  stream.avail_in = static_cast<uInt>(member.size());

  text.clear();
  for (int result = Z_OK; result != Z_STREAM_END;) {
    const auto done = text.size();
    if (done > limit) return InflateOutcome::tooLarge;
    text.resize(std::min(std::max(done * 2, announcedSize(member) + 1), limit + 1));
    stream.next_out = reinterpret_cast<Bytef*>(text.data() + done);
    stream.avail_out = static_cast<uInt>(text.size() - done);
    result = inflate(&stream, Z_NO_FLUSH);
    text.erase(text.size() - stream.avail_out);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();                             // the member may be good
    if (result != Z_OK && result != Z_STREAM_END) return InflateOutcome::damaged;  // Z_BUF_ERROR: it ended early
  }
  if (text.size() > limit) return InflateOutcome::tooLarge;
  return stream.avail_in == 0 ? InflateOutcome::ok : InflateOutcome::damaged;
}

}  // namespace collector

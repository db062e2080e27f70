#include "collector/Inflate.h"

#include <zlib.h>

#include <algorithm>
#include <memory>

namespace collector {

namespace {

constexpr int kGzipOnly = 15 + 16;
constexpr std::size_t kFirstRoom = std::size_t{64} << 10U;

struct InflateEnd {
  void operator()(z_stream* stream) const noexcept { inflateEnd(stream); }
};

}  // namespace

InflateOutcome inflateGzip(std::string_view member, std::size_t limit, std::string& text) {
  z_stream stream{};
  if (inflateInit2(&stream, kGzipOnly) != Z_OK) return InflateOutcome::damaged;
  const std::unique_ptr<z_stream, InflateEnd> owner(&stream);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(member.data()));  // zlib reads only
  stream.avail_in = static_cast<uInt>(member.size());

  text.clear();
  for (int result = Z_OK; result != Z_STREAM_END;) {
    const auto done = text.size();
    if (done > limit) return InflateOutcome::tooLarge;
    text.resize(std::min(std::max(done * 2, kFirstRoom), limit + 1));
    stream.next_out = reinterpret_cast<Bytef*>(text.data() + done);
    stream.avail_out = static_cast<uInt>(text.size() - done);
    result = inflate(&stream, Z_NO_FLUSH);
    text.resize(text.size() - stream.avail_out);
    if (result != Z_OK && result != Z_STREAM_END) return InflateOutcome::damaged;  // Z_BUF_ERROR: it ended early
  }
  if (text.size() > limit) return InflateOutcome::tooLarge;
  return stream.avail_in == 0 ? InflateOutcome::ok : InflateOutcome::damaged;
}

}  // namespace collector

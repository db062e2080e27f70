#include "codecs/gzip.h"

#include <algorithm>
#include <limits>
#include <memory>

#include <zlib.h>

namespace zorvane {

namespace {

constexpr int kFastest = 1;  // every request is compressed while the work queue waits
constexpr int kMemoryLevel = 8;
constexpr int kLargestWindow = 15;
constexpr int kWithGzipHeader = 16;
constexpr int kWithAnyHeader = 32;
constexpr std::size_t kCompressedStep = 16384;
constexpr std::size_t kMaxDecompressedBytes = std::size_t{16} << 20;  // a few bytes can stand for a thousand each

template <auto End>
struct StreamEnd {
  void operator()(z_stream* stream) const noexcept { End(stream); }
};
using Deflate = std::unique_ptr<z_stream, StreamEnd<deflateEnd>>;  // ends a stream that lives elsewhere
using Inflate = std::unique_ptr<z_stream, StreamEnd<inflateEnd>>;

bool isWithinOneCall(std::string_view data) { return !data.empty() && data.size() <= std::numeric_limits<uInt>::max(); }

Bytef* bytesOf(const char* data) {  // zlib reads what it takes as not constant
  return reinterpret_cast<Bytef*>(const_cast<char*>(data));
}

void setInput(z_stream& stream, std::string_view data) {
  stream.next_in = bytesOf(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
}

// Points the stream at what is unused of the output, which grows by `step` when nothing is.
void setOutput(z_stream& stream, std::string& output, std::size_t step) {
  if (stream.total_out >= output.size()) output.resize(output.size() + step);
  stream.next_out = bytesOf(output.data()) + stream.total_out;
  stream.avail_out = static_cast<uInt>(output.size() - stream.total_out);
}

}  // namespace

std::optional<std::string> compress(std::string_view data) {
  if (!isWithinOneCall(data)) return std::nullopt;
  z_stream stream{};
  const Deflate owner(&stream);
  if (deflateInit2(&stream, kFastest, Z_DEFLATED, kLargestWindow + kWithGzipHeader, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
      Z_OK)
    return std::nullopt;
  setInput(stream, data);
  std::string output(kCompressedStep, '\0');
  do {
    setOutput(stream, output, kCompressedStep);
    deflate(&stream, Z_FINISH);
  } while (stream.avail_out == 0);
  output.resize(stream.total_out);
  return output;
}

std::optional<std::string> decompress(std::string_view data) {
  if (!isWithinOneCall(data)) return std::nullopt;
  z_stream stream{};
  Inflate owner(&stream);
  if (inflateInit2(&stream, kLargestWindow + kWithAnyHeader) != Z_OK) return std::nullopt;
  setInput(stream, data);
  std::string output(std::min(data.size() + data.size() / 2, kMaxDecompressedBytes), '\0');
  int status = Z_OK;
  while (status == Z_OK && stream.total_out <= kMaxDecompressedBytes) {
    setOutput(stream, output, data.size() / 2);
    status = inflate(&stream, Z_SYNC_FLUSH);
  }
  const bool ended = inflateEnd(owner.release()) == Z_OK;
  if (status != Z_STREAM_END || !ended || stream.total_out > kMaxDecompressedBytes) return std::nullopt;
  output.resize(stream.total_out);
  return output;
}

}  // namespace zorvane

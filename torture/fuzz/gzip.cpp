// gzip both ways: the library against zlib, the collector against the library.
#include <zlib.h>

#include <algorithm>
#include <optional>
#include <string>

#include "Fuzz.h"
#include "codecs/ZVHelpers.h"
#include "collector/base/Inflate.h"

using namespace zorvane;

namespace {

constexpr std::size_t kMaxInflated = std::size_t{8} << 20U;
constexpr std::size_t kMaxMember = 4096;  // of made-up bytes: a thousand times that may come out

std::string deflatedByZlib(std::string_view text, int level, int header) {
  z_stream stream{};
  fuzz::require(deflateInit2(&stream, level, Z_DEFLATED, 15 + header, 8, Z_DEFAULT_STRATEGY) == Z_OK, "zlib");
  std::string member(deflateBound(&stream, static_cast<uLong>(text.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(member.data());
  stream.avail_out = static_cast<uInt>(member.size());
  fuzz::require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "zlib");
  member.resize(stream.total_out);
  deflateEnd(&stream);
  return member;
}

std::optional<std::string> inflatedByTheCollector(std::string_view member, std::size_t limit) {
  std::string text;
  const auto outcome = collector::inflateGzip(member, limit, text);
  fuzz::require(text.size() <= limit + 1, "more came out than allowed");
  return outcome == collector::InflateOutcome::ok ? std::optional(text) : std::nullopt;
}

void compress(std::string_view text, fuzz::Input& choice) {
  const auto member = ZVHelpers::gzipEnflateWithData(text);
  fuzz::require(member.has_value() == !text.empty(), "what can be compressed");
  if (!member) return;
  fuzz::require(inflatedByTheCollector(*member, kMaxInflated) == text, "library to collector");
  fuzz::require(!inflatedByTheCollector(*member, text.size() - 1), "beyond the limit");
  fuzz::require(ZVHelpers::gzipDeflateWithData(*member) == text, "library to library");
  const auto other = deflatedByZlib(text, static_cast<int>(choice.byte() % 10), choice.flag() ? 16 : 0);
  fuzz::require(ZVHelpers::gzipDeflateWithData(other) == text, "zlib to library");
}

void inflateBytes(std::string_view bytes) {
  const auto member = bytes.substr(0, kMaxMember);
  const auto ours = ZVHelpers::gzipDeflateWithData(member);
  const auto collected = inflatedByTheCollector(member, kMaxInflated);
  fuzz::require(!collected || ours == collected, "the collector alone takes it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  switch (input.byte() % 3) {
    case 0: compress(input.rest(), input); break;
    case 1: inflateBytes(input.rest()); break;
    default: {  // a member that was good, with one byte changed
      const auto at = static_cast<std::size_t>(input.byte());
      const auto change = static_cast<char>(input.byte());
      auto member = ZVHelpers::gzipEnflateWithData(input.rest()).value_or("x");
      member[at % member.size()] ^= change;
      inflateBytes(member);
    }
  }
  return 0;
}

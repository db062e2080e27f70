#include "crowd/Codec.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <zlib.h>

#include <array>
#include <memory>
#include <stdexcept>

namespace crowd {

namespace {

constexpr int kGzipWindow = 15 + 16;
constexpr int kMemoryLevel = 8;

struct DeflateEnd {
  void operator()(z_stream* stream) const noexcept {
    deflateEnd(stream);
    delete stream;
  }
};
using Deflate = std::unique_ptr<z_stream, DeflateEnd>;

Deflate makeDeflate() {
  Deflate stream(new z_stream{});
  if (deflateInit2(stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
      Z_OK)
    throw std::runtime_error("gzip has no memory");
  return stream;
}

}  // namespace

std::string gzip(std::string_view text) {
  thread_local const Deflate stream = makeDeflate();  // its windows take longer to set up than a batch to pack
  deflateReset(stream.get());
  std::string packed(deflateBound(stream.get(), text.size()), '\0');
  stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));  // zlib only reads it
  stream->avail_in = static_cast<uInt>(text.size());
  stream->next_out = reinterpret_cast<Bytef*>(packed.data());
  stream->avail_out = static_cast<uInt>(packed.size());
  if (deflate(stream.get(), Z_FINISH) != Z_STREAM_END) throw std::runtime_error("gzip failed");
  packed.resize(stream->total_out);
  return packed;
}

std::string signature(std::string_view body, std::string_view secret) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
       reinterpret_cast<const unsigned char*>(body.data()), body.size(), digest.data(), &size);
  std::array<unsigned char, 4 * ((EVP_MAX_MD_SIZE + 2) / 3) + 1> text{};
  const int length = EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(size));
  return {reinterpret_cast<const char*>(text.data()), static_cast<std::size_t>(length)};
}

}  // namespace crowd

#include "collector/front/Wire.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/status.hpp>
#include <utility>

namespace collector::front {

namespace {

namespace beast = boost::beast;
namespace http = beast::http;

using beast::error_code;
using beast::string_view;

constexpr int kVersion = 11;
constexpr std::size_t kLastChunkBytes =
    5;  // "0", two line ends: so many are still to come, and the parser counts on it

// A field may not go on in the next line, but the parser takes it.
bool isFolded(std::string_view lines) {
  return lines.find("\r\n ") != std::string_view::npos || lines.find("\r\n\t") != std::string_view::npos;
}

std::string headOf(const Response& response, const std::string& length, bool keepAlive) {
  auto text = fmt::format("HTTP/1.1 {} {}\r\n", response.status,
                          std::string_view(http::obsolete_reason(static_cast<http::status>(response.status))));
  if (!response.type.empty()) text += fmt::format("Content-Type: {}\r\n", response.type);
  text += length;
  if (!keepAlive) text += "Connection: close\r\n";
  for (const auto& field : response.fields) text += fmt::format("{}: {}\r\n", field.name, field.value);
  return text + "\r\n";
}

}  // namespace

class RequestReader::Parser final : public http::basic_parser<true> {
 public:
  explicit Parser(const Limits& limits) : limits_(limits) {
    body_limit(boost::none);  // known once the head was admitted
    header_limit(static_cast<std::uint32_t>(limits.headBytes));
  }

  Stage take(std::string_view& bytes) {
    if (partial_.empty()) return parse(bytes);
    const auto before = partial_.size();
    std::string joined = std::move(partial_.append(bytes));
    partial_.clear();
    std::string_view left = joined;
    const auto stage = parse(left);
    const auto taken = joined.size() - left.size();
    bytes.remove_prefix(taken > before ? taken - before : 0);
    return stage;
  }

  Head head;
  std::string body;
  bool expectsContinue = false;

  [[nodiscard]] std::size_t held() const { return headBytes_ + partial_.size() + body.size(); }

 private:
  // The parser takes whole lines only: what it leaves is kept for the next time.
  Stage parse(std::string_view& bytes) {
    while (!is_done()) {
      if (bytes.empty()) return Stage::more;
      if (is_header_done() && chunked() && bytes.size() < kLastChunkBytes) return keep(bytes);
      const bool inHead = !is_header_done();
      error_code failed;
      const auto taken = put({bytes.data(), bytes.size()}, failed);
      if (inHead && isFolded(bytes.substr(0, taken))) return Stage::malformed;
      bytes.remove_prefix(taken);
      if (inHead) headBytes_ += taken;
      if (failed == http::error::need_more) return keep(bytes);
      if (failed == http::error::body_limit) return Stage::tooLarge;
      if (failed || headBytes_ > limits_.headBytes) return Stage::malformed;
      if (inHead) return hosts_ == 1 ? Stage::head : Stage::malformed;
    }
    return Stage::whole;
  }

  Stage keep(std::string_view& bytes) {
    const auto most =
        is_header_done() ? limits_.headBytes : limits_.headBytes - std::min(headBytes_, limits_.headBytes);
    if (bytes.size() > most) return Stage::malformed;
    partial_ = bytes;
    bytes = {};
    return Stage::more;
  }

  void on_request_impl(http::verb, string_view method, string_view target, int version, error_code& failed) override {
    if (version != kVersion) failed = http::error::bad_version;
    head.method = method;
    head.target = target;
  }

  void on_field_impl(http::field name, string_view text, string_view value, error_code& failed) override {
    if (is_header_done()) return;  // nobody asked for those behind a chunked body
    if (head.fields.size() == limits_.fields) failed = http::error::header_limit;
    if (name == http::field::transfer_encoding && !beast::iequals(value, "chunked"))
      failed = http::error::bad_transfer_encoding;
    if (name == http::field::host) ++hosts_;
    if (name == http::field::expect) expectsContinue = beast::iequals(value, "100-continue");
    head.fields.push_back({std::string(text), std::string(value)});
  }

  std::size_t on_body_impl(string_view bytes, error_code&) override {
    body.append(bytes.data(), bytes.size());
    return bytes.size();
  }
  std::size_t on_chunk_body_impl(std::uint64_t, string_view bytes, error_code& failed) override {
    return on_body_impl(bytes, failed);
  }

  void on_response_impl(int, string_view, int, error_code&) override {}
  void on_header_impl(error_code&) override {}
  void on_body_init_impl(const boost::optional<std::uint64_t>&, error_code&) override {}
  void on_chunk_header_impl(std::uint64_t, string_view, error_code&) override {}
  void on_finish_impl(error_code&) override {}

  const Limits& limits_;
  std::string partial_;
  std::size_t headBytes_ = 0;
  unsigned hosts_ = 0;
};

RequestReader::RequestReader(const Limits& limits) : parser_(std::make_unique<Parser>(limits)) {}

RequestReader::~RequestReader() = default;

RequestReader::Stage RequestReader::take(std::string_view& bytes) { return parser_->take(bytes); }

Head& RequestReader::head() { return parser_->head; }

bool RequestReader::expectsBody() const { return !parser_->is_done(); }

std::optional<std::uint64_t> RequestReader::announcedBytes() const {
  const auto announced = parser_->content_length();
  return announced ? std::optional(*announced) : std::nullopt;
}

bool RequestReader::expectsContinue() const { return parser_->expectsContinue; }

bool RequestReader::keepsAlive() const { return parser_->keep_alive(); }

void RequestReader::limitBody(std::size_t bytes) { parser_->body_limit(bytes); }

std::size_t RequestReader::held() const { return parser_->held(); }

std::string& RequestReader::body() { return parser_->body; }

std::string textOf(const Response& response, bool keepAlive, bool bodyless) {
  constexpr int kNotModified = 304;  // stands for a body that isn't sent, and whose length this isn't
  const auto length =
      response.status == kNotModified ? std::string() : fmt::format("Content-Length: {}\r\n", response.body.size());
  auto text = headOf(response, length, keepAlive);
  if (!bodyless) text += response.body;
  return text;
}

std::string headOfStream(const Response& response) { return headOf(response, "Transfer-Encoding: chunked\r\n", false); }

std::string chunkOf(const std::string& bytes, bool isLast) {
  auto text = bytes.empty() ? std::string() : fmt::format("{:x}\r\n{}\r\n", bytes.size(), bytes);
  if (isLast) text += "0\r\n\r\n";
  return text;
}

}  // namespace collector::front

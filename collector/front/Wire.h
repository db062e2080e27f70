// Wire is HTTP/1.1 as it travels: requests are read from bytes as they come, answers become text.
//
// Thread:   one at a time.
// Lifetime: a reader reads one request.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collector/front/Http.h"
#include "collector/front/Limits.h"

namespace collector::front {

// What isn't HTTP/1.1 by the letter is malformed, as is what proxies and servers read in different ways: two lengths,
// two hosts, another transfer coding than "chunked".
class RequestReader {
 public:
  enum class Stage {
    more,       // all was taken, and the request goes on
    head,       // the head is whole; with the next call the body begins
    whole,      // what is left belongs to the next request
    tooLarge,   // the body
    malformed,  // nothing that comes can be read any more
  };

  explicit RequestReader(const Limits& limits);
  ~RequestReader();
  RequestReader(const RequestReader&) = delete;
  RequestReader& operator=(const RequestReader&) = delete;

  // Takes what belongs to the request from the front of `bytes`.
  Stage take(std::string_view& bytes);

  // From Stage::head on:
  Head& head();
  [[nodiscard]] bool expectsBody() const;
  [[nodiscard]] std::optional<std::uint64_t> announcedBytes() const;  // absent: none, or the body is chunked
  [[nodiscard]] bool expectsContinue() const;  // the client waits for that before it sends the body
  [[nodiscard]] bool keepsAlive() const;
  void limitBody(std::size_t bytes);  // of a chunked one, before it begins

  [[nodiscard]] std::size_t held() const;  // bytes kept so far
  std::string& body();

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

inline constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

// `bodyless`: the answer to HEAD, which has all fields and no body.
std::string textOf(const Response& response, bool keepAlive, bool bodyless);
// An answer without a known end: the head, then chunks. The connection is closed behind the last one.
std::string headOfStream(const Response& response);
std::string chunkOf(const std::string& bytes, bool isLast);

}  // namespace collector::front

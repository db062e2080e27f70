// What the fuzzers share: taking an input apart, and ending the process when something doesn't hold.
//
// A fuzzer is one source that defines LLVMFuzzerTestOneInput(). It is linked with libFuzzer, or with replay.cpp, which
// runs it on its seeds and on mutations of them that are always the same.
//
// Thread: the one that runs the inputs, but for require(): any.
#pragma once

#include <unistd.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace fuzz {

// Standard error as the process found it. What the library logs there later is thrown away.
inline const int console = ::dup(STDERR_FILENO);

inline void say(std::string_view text) {
  if (::write(console, text.data(), text.size()) < 0) std::abort();
}

inline void require(bool holds, std::string_view what, std::string_view detail = {}) {
  if (holds) return;
  say("require: " + std::string(what) + "\n" + std::string(detail.substr(0, 4000)) + "\n");
  std::abort();
}

inline std::string_view viewOf(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

// An input, taken apart from its front. Behind its end everything is 0 and empty.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t size) : left_(viewOf(bytes, size)) {}

  [[nodiscard]] bool isEmpty() const { return left_.empty(); }
  std::string_view rest() { return take(left_.size()); }
  std::string_view take(std::size_t size) {
    const auto taken = left_.substr(0, size);
    left_.remove_prefix(taken.size());
    return taken;
  }
  unsigned byte() {
    const auto taken = take(1);
    return taken.empty() ? 0 : static_cast<unsigned char>(taken.front());
  }
  bool flag() { return byte() % 2 != 0; }
  template <class Choice>
  Choice oneOf(std::initializer_list<Choice> choices) {
    return choices.begin()[byte() % choices.size()];
  }
  std::int64_t whole() {
    using Limits = std::numeric_limits<std::int64_t>;
    const unsigned kind = byte();
    if (kind < 64) return static_cast<std::int64_t>(kind) - 8;
    if (kind < 80) return oneOf({Limits::min(), Limits::min() + 1, Limits::max(), Limits::max() - 1});
    return std::bit_cast<std::int64_t>(bits());
  }
  double number() {
    using Limits = std::numeric_limits<double>;
    const unsigned kind = byte();
    if (kind < 64) return static_cast<double>(kind) - 8;
    if (kind < 80)
      return oneOf({Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(), Limits::infinity(),
                    Limits::quiet_NaN(), -0.0, 9007199254740993.0, 1e22, 0.1, 3.5e38, 7e-46});
    return std::bit_cast<double>(bits());
  }
  // Text of pieces: runs of one character, what is special to a rule, bytes as they are.
  std::string text() {
    std::string text;
    for (unsigned piece = byte(); piece != 0; piece = byte()) {
      if (piece < 64) text += take(piece);
      else if (piece < 128) text.append(oneOf({1U, 2U, 31U, 32U, 33U, 63U, 64U, 65U, 256U, 8192U}), letter(piece));
      else text += special(piece);
      if (text.size() > kMaxText) break;
    }
    return text;
  }

 private:
  static constexpr std::size_t kMaxText = 20'000;

  std::uint64_t bits() {
    std::uint64_t bits = 0;
    const auto taken = take(sizeof bits);
    std::memcpy(&bits, taken.data(), taken.size());
    return bits;
  }
  static char letter(unsigned piece) { return "aZ09_- .()!?:#\n\xC3"[piece % 16]; }
  static std::string_view special(unsigned piece) {
    constexpr std::string_view kSpecials[] = {"\n",          "\r\n",
                                              "\r",          "\v",
                                              "\f",          "\u0085",
                                              "\u2028",      "\u2029",
                                              "\u00A0",      "\u180E",
                                              ":",           "::",
                                              "USD",         "admob",
                                              "1.2.3",       std::string_view("\0", 1),
                                              "\U0001F600",  "\u20AC",
                                              "/",           "\"",
                                              "\\",          "\xED\xA0\x80",
                                              "\xFF",        "\xF0\x9F\x98",
                                              "unity 5.6.1", "gems",
                                              "t",           "wifi",
                                              "\xC0\x80",    "\xF4\x90\x80\x80",
                                              "%",           "\u001c"};
    return kSpecials[piece % std::size(kSpecials)];
  }

  std::string_view left_;
};

}  // namespace fuzz

// However the bytes of requests are cut into pieces, the collector reads the same from them.
#include <fmt/format.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "Fuzz.h"
#include "collector/front/Address.h"
#include "collector/front/Wire.h"

namespace {

using namespace collector::front;
using Stage = RequestReader::Stage;

constexpr std::size_t kMostInBody = 1000;

const Limits& limits() {
  static const Limits limits = [] {
    Limits small;
    small.headBytes = 2000;
    small.fields = 20;
    return small;
  }();
  return limits;
}

// What is read, as text. `piece` says how many bytes come next.
template <class Piece>
std::string readingOf(std::string_view bytes, Piece piece) {
  std::string text;
  auto reader = std::make_unique<RequestReader>(limits());
  while (!bytes.empty()) {
    auto arrived = bytes.substr(0, piece());
    bytes.remove_prefix(arrived.size());
    for (bool going = true; going;) switch (reader->take(arrived)) {
        case Stage::more:
          fuzz::require(arrived.empty(), "something is left");
          fuzz::require(reader->held() <= 2 * limits().headBytes + kMostInBody, "too much is kept");
          going = false;
          break;
        case Stage::head: {
          const auto& head = reader->head();
          fuzz::require(head.fields.size() <= limits().fields, "too many fields");
          text += fmt::format("{} {} {} {} {}\n", head.method, head.target, reader->keepsAlive(),
                              reader->expectsContinue(), isForwarded(head));
          for (const auto& field : head.fields) text += fmt::format("{}: {}\n", field.name, field.value);
          if (reader->announcedBytes().value_or(0) > kMostInBody) return text;
          reader->limitBody(kMostInBody);
          break;
        }
        case Stage::whole:
          fuzz::require(reader->body().size() <= kMostInBody, "the body is too large");
          text += reader->body() + "\n";
          reader = std::make_unique<RequestReader>(limits());
          going = !arrived.empty();
          break;
        case Stage::tooLarge:
        case Stage::malformed: return text;  // with fewer bytes it may not be known yet
      }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const auto cuts = input.take(input.byte() % 16);
  const auto requests = input.rest();
  std::size_t cut = 0;
  const auto whole = readingOf(requests, [] { return std::string_view::npos; });
  const auto cutUp = readingOf(requests, [&] {
    return cuts.empty() ? std::size_t{1} : std::size_t{1} + static_cast<unsigned char>(cuts[cut++ % cuts.size()]);
  });
  fuzz::require(whole == cutUp, "the pieces read differently", whole + "\n-- not --\n" + cutUp);
  return 0;
}

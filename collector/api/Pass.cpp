#include "collector/api/Pass.h"

#include <fmt/format.h>

#include <charconv>

#include "collector/base/Signature.h"

namespace collector {

namespace {

// PASS: "reading.1790000000.SIGNATURE"
struct Parts {
  std::string_view level, until, signature;
  std::string_view signedPart;
};

std::optional<Parts> partsOf(std::string_view pass) {
  const auto first = pass.find('.');
  const auto second = pass.find('.', first == std::string_view::npos ? first : first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  return Parts{pass.substr(0, first), pass.substr(first + 1, second - first - 1), pass.substr(second + 1),
               pass.substr(0, second)};
}

// Apart from all else that a token might sign.
std::string toSign(std::string_view signedPart) { return fmt::format("zorvane-collector pass {}", signedPart); }

}  // namespace

std::string makePass(Level level, const std::string& token, std::int64_t now) {
  const auto text = fmt::format("{}.{}", level == Level::editing ? "editing" : "reading", now + kPassSeconds);
  return fmt::format("{}.{}", text, signatureOf(toSign(text), token));
}

std::optional<Level> claimedBy(std::string_view pass) {
  const auto parts = partsOf(pass);
  if (parts && parts->level == "editing") return Level::editing;
  if (parts && parts->level == "reading") return Level::reading;
  return std::nullopt;
}

bool isPassOf(const std::string& token, std::string_view pass, std::int64_t now) {
  const auto parts = partsOf(pass);
  if (token.empty() || !parts || !isSignedWith(token, toSign(parts->signedPart), parts->signature)) return false;
  std::int64_t until = 0;
  std::from_chars(parts->until.data(), parts->until.data() + parts->until.size(), until);
  return now < until;
}

}  // namespace collector

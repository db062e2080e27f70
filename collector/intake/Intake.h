// Intake makes of a request what is to be kept of it, and what is to be answered: signature, inflating, parsing, rules.
// It keeps nothing itself. An answer other than 401 and 413 is good only once what was taken is on disk.
//
// Thread:   any, several at once; so must be what knows the secrets.
// Lifetime: what was taken owns all its texts, and outlives the intake.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collector/archive/Taken.h"
#include "collector/records/Rows.h"

namespace collector {

// A request as it was sent.
struct Call {
  std::string_view kind;  // "init" or "events"
  std::string gameKey;
  std::string target;  // path and query, undecoded
  std::string authorization;
  std::string contentEncoding;
  std::string contentType;
  std::string body;
};

// A signed request's body, read. Rows and rejected records borrow from its text, so it stays where it is.
struct Content final : Taken {
  static constexpr std::size_t kMaxRejected = 100;
  static constexpr std::size_t kMaxNotes = 100;

  explicit Content(std::string body) : text(std::move(body)), texts(text) {}
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;

  const std::string text;  // inflated
  Texts texts;
  std::size_t rejectedCount = 0;  // of which the first are kept
  std::size_t bytes = 0;          // as sent
};

class Intake {
 public:
  static constexpr std::size_t kMaxSent = std::size_t{8} << 20U;
  static constexpr std::size_t kMaxInflated = std::size_t{16} << 20U;

  using SecretOf = std::function<std::optional<std::string>(std::string_view game)>;  // absent: the game is unknown

  struct Outcome {
    int status = 0;    // 200, 400, 401, 413
    std::string json;  // the answer's body; empty for an init call that is well
    // Null when the request wasn't signed, or was too large. Of an init call: one row, without a category.
    std::shared_ptr<Content> content;
  };

  explicit Intake(SecretOf secretOf) : secretOf_(std::move(secretOf)) {}

  [[nodiscard]] Outcome takeEvents(Call call, std::int64_t now) const;
  [[nodiscard]] Outcome takeInit(Call call, std::int64_t now) const;

 private:
  [[nodiscard]] Outcome open(Call& call, std::int64_t now) const;

  SecretOf secretOf_;
};

}  // namespace collector

// Delivery brings init calls and batches to the collector, as the library does: sorted, at most 500 records, packed and
// signed. What gets no answer is sent again, the same records; an answer that refuses something fails the run.
//
// Thread: one at a time, each with its own connection; its calls block.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crowd/Client.h"
#include "crowd/InitCall.h"
#include "crowd/Record.h"
#include "crowd/Run.h"
#include "crowd/Truth.h"

namespace crowd {

struct GameKeys {
  std::string key, secret;
};

struct Target {
  Endpoint endpoint;
  GameKeys game;
  std::chrono::seconds patience{60};  // without any answer, before the run is given up
};

// A body, ready to be sent as often as it takes.
struct Package {
  std::string body, authorization;
  std::size_t records = 0;
  bool gzipped = true;
};

inline constexpr std::size_t kMostRecords = 500;

Package packed(const Record* first, std::size_t count, const GameKeys& game);

class Delivery {
 public:
  Delivery(const Target& target, Run& run) : target_(target), run_(run), client_(target.endpoint, run) {}

  // False, or nothing, when the run is to end: it was stopped, or it has failed.
  std::optional<InitAnswer> init(std::string target, std::string_view body);
  // Counts in `truth` what was acknowledged.
  bool send(Records records, Truth& truth);
  bool send(const Package& package);

 private:
  // The positions of the records that were refused; nothing when no answer came.
  std::optional<std::vector<std::size_t>> deliver(const Package& package);
  std::optional<Answer> insist(const Request& request);
  std::vector<std::size_t> readRefused(const Answer& answer, std::size_t records);
  [[nodiscard]] std::string eventsTarget() const { return "/v2/" + target_.game.key + "/events"; }

  const Target& target_;
  Run& run_;
  Client client_;
  std::chrono::steady_clock::time_point answered_ = std::chrono::steady_clock::now();
  bool hopeless_ = false;  // the run is stopped and nothing answers: the rest isn't tried
};

}  // namespace crowd

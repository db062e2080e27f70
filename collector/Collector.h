// Collector knows what each request means: who may send it, what it must hold, what is kept of it and how it is
// answered.
//
// Thread:   any; large bodies are worked on one at a time, so that their memory stays bounded.
// Lifetime: longer than the server that hands it requests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "collector/Archive.h"
#include "collector/Configs.h"

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

struct Answer {
  int status = 0;
  std::string json;
};

class Collector {
 public:
  static constexpr std::size_t kMaxBody = std::size_t{8} << 20U;
  static constexpr std::size_t kMaxInflated = std::size_t{64} << 20U;

  using Games = std::map<std::string, std::string, std::less<>>;  // secrets by game key

  Collector(Games games, Configs configs, Archive& archive);

  [[nodiscard]] bool knows(std::string_view gameKey) const { return games_.find(gameKey) != games_.end(); }
  Answer takeInit(const Call& call);
  Answer takeEvents(const Call& call);
  // A call that isn't worth looking into: its body wasn't read, or not to its end.
  Answer refuse(const Call& call, int status, std::string_view reason);

  Answer summary();
  Answer events(std::string_view after, std::string_view limit);

 private:
  struct Content;
  Answer open(const Call& call, Exchange& exchange, Content& content);
  Answer kept(Exchange& exchange, Answer answer);
  Answer initAnswer(const Call& call) const;

  const Games games_;
  const Configs configs_;
  Archive& archive_;
  std::mutex work_;  // held while a body is inflated, parsed and kept
};

}  // namespace collector

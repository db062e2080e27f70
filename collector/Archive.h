// Archive keeps all that the collector took, and what it refused, in one SQLite file.
//
// Thread:   any; its operations take turns.
// Lifetime: opened at the start; the file may be opened again after the process was killed, with all that was answered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace collector {

// One request to keep, with what came of it. Text is borrowed for the length of the call.
struct Exchange {
  struct Taken {
    std::string_view category, eventUuid, sessionId, userId, record;
    std::optional<std::int64_t> clientTs;
  };
  struct Rejected {
    std::size_t index;
    std::string reasons;
    std::string_view record;
  };

  std::string_view kind;  // "init" or "events"
  std::string_view gameKey;
  int status = 0;
  std::optional<bool> signatureGood;  // absent: refused before it was looked at
  bool compressed = false;
  std::size_t bytes = 0;     // as sent
  std::size_t inflated = 0;  // as parsed
  std::vector<Taken> taken;
  std::vector<Rejected> rejected;
  std::string_view initBody;
};

struct ArchiveSummary {
  struct Game {
    std::int64_t requests = 0, inits = 0, events = 0, rejected = 0;
  };
  std::int64_t requests = 0, inits = 0, events = 0, rejected = 0, duplicates = 0;
  std::int64_t goodSignatures = 0, badSignatures = 0;
  std::int64_t bytesSent = 0, bytesInflated = 0;
  std::map<std::string, std::int64_t> categories;
  std::map<std::string, Game> games;
};

struct ArchivedEvent {
  std::int64_t id = 0, receivedAt = 0;
  std::string gameKey, category, record;
};

class Archive {
 public:
  // Null when the file can't be opened or is no archive; `problem` then says why.
  static std::unique_ptr<Archive> open(const std::string& path, std::string& problem);
  ~Archive();
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  // All of it or, when the result is false, nothing.
  bool keep(const Exchange& exchange);
  std::optional<ArchiveSummary> summary();
  // The oldest events behind `id`, at most `limit` of them, fewer when they are large.
  std::optional<std::vector<ArchivedEvent>> eventsAfter(std::int64_t id, std::int64_t limit);

 private:
  explicit Archive(sqlite3* database) : database_(database) {}
  bool prepareSchema(std::string& problem);
  bool insert(const Exchange& exchange);

  std::mutex guard_;
  sqlite3* database_;  // guarded by guard_
};

}  // namespace collector

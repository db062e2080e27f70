// Record is one event as a game reports it, before it becomes text: what RecordText writes and what Truth counts.
//
// Thread:   any; values. The common part is shared by the records of a session and doesn't change.
// Lifetime: its views are into the tables of World.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace crowd {

struct Common {
  std::uint32_t player = 0;  // the crowd's own number, never sent
  std::string userId, sessionId, idfa, idfv;
  std::string_view osVersion, manufacturer, device, platform, engineVersion, build, buildNumber;
  std::int64_t sessionNum = 0;
  std::string_view connection;
  std::string_view trackingStatus;  // "" where the system asks for none
  std::string configurations;       // a JSON object; "" where none is in force
  std::string abId, abVariant;      // "" without an experiment
  std::array<std::string_view, 3> dimensions;

  // The common fields as text, around event_uuid and client_ts: written once a session.
  struct Text {
    std::string beforeUuid, beforeTime, afterTime, dimensions;
  } text;
};

struct SessionStart {
  bool install;
};
struct SessionEnd {
  std::int64_t length;  // seconds
};
struct Purchase {
  std::string_view itemType, itemId, currency;
  std::int64_t amount, number;
  std::string_view cart;  // "" for none
  bool receipt;
};
struct Resource {
  bool source;
  std::string_view currency, itemType, itemId;
  std::int64_t amount;  // above 0 for both flows
};
enum class Status : std::uint8_t { start, complete, fail };
struct Progression {
  Status status;
  std::string_view path;
  std::optional<std::int64_t> score, attempt;
};
struct Design {
  std::string_view id;
  std::optional<std::int64_t> quarters;  // the value, in kValueUnit
};
struct Error {
  std::string_view severity;
  std::string message;
  bool crash;
};
struct Ad {
  std::string_view network, placement, type, action;
  std::string_view failure;  // "" unless a show failed
  std::optional<std::int64_t> milliseconds;
};
struct Impression {
  std::string_view network, version, placement, type;
  std::int64_t revenue;  // US dollars, in kRevenueUnit
};
struct SdkError {
  std::string_view area, action, parameter, reason;  // the last two may be ""
};

using What =
    std::variant<SessionStart, SessionEnd, Purchase, Resource, Progression, Design, Error, Ad, Impression, SdkError>;

struct CustomFields {
  std::string_view weapon;
  std::int64_t combo;
  bool perfect;
};

struct Record {
  std::shared_ptr<const Common> common;
  std::int64_t time = 0;  // seconds since 1970, UTC
  std::string uuid;
  What what;
  std::optional<CustomFields> fields;
};

using Records = std::vector<Record>;

std::string_view categoryOf(const Record& record);
std::string_view wordOf(Status status);

}  // namespace crowd

// The table of all that may stand in a record or in an init body: kinds, their fields, and the columns that these fill.
// docs/wire-protocol.md says the same.
//
// Thread: any; constants.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "collector/records/Row.h"
#include "collector/records/Shape.h"

namespace collector {

enum class Need : std::uint8_t { always, sometimes, never };

// True where the text of another field, or its first part, is one of these words.
struct Condition {
  std::string_view field;
  Words words;
};

struct Field {
  std::string_view name;
  Need need = Need::sometimes;
  Shape shape = {};
  Column column = Column::count;       // that it fills; `count`: none
  std::span<const Column> parts = {};  // those that the parts of an id fill
  Condition onlyWhere = {};            // elsewhere it may not be sent
  Condition belowZeroWhere = {};       // a number that is below 0 there, and above elsewhere
  const Form* usual = nullptr;         // another text is taken, and pointed out
};

struct RecordKind {
  std::string_view category;  // or "init"
  std::span<const Field> fields;
};

inline constexpr std::size_t kMaxFields = 56;  // of a kind

std::span<const RecordKind> recordKinds();
const RecordKind& initKind();

}  // namespace collector

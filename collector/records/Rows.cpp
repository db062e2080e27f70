#include "collector/records/Rows.h"

#include <algorithm>
#include <array>
#include <functional>

#include "collector/base/Text.h"

namespace collector {

namespace {

// Networks name what an impression earned in one of two ways.
constexpr auto kRevenues = std::to_array<std::string_view>({"revenue", "publisher_revenue"});

std::string_view cellText(const Shape& shape, std::string_view text) {
  return shape.mayEndALine ? withoutFinalTerminator(text) : text;
}

Cell cellOf(const Field& field, const JsonValue& value, Texts& texts) {
  switch (field.shape.type) {
    case Type::text: return texts.keep(cellText(field.shape, textOf(value)));
    case Type::id: return texts.keep(textOf(value));
    case Type::yes: return std::int64_t{1};
    case Type::whole:
    case Type::number:
      if (kColumns[static_cast<std::size_t>(field.column)].kind == Kind::number) return value.GetDouble();
      return value.GetInt64();
    default: return texts.keep(jsonText(value));
  }
}

void fillParts(const Field& field, Row& row) {
  auto rest = std::get<std::string_view>(row[field.column]);
  for (const auto column : field.parts) {
    const auto end = rest.find(':');
    row[column] = rest.substr(0, end);
    if (end == std::string_view::npos) return;
    rest.remove_prefix(end + 1);
  }
}

void fillRevenue(const JsonValue& impression, Texts& texts, Row& row) {
  for (const auto name : kRevenues) {
    const auto* const revenue = findMember(impression, name);
    if (revenue == nullptr || !revenue->IsNumber()) continue;
    row[Column::value] = revenue->GetDouble();
    break;
  }
  if (const auto currency = textMember(impression, "currency"); !currency.empty())
    row[Column::currency] = texts.keep(currency);
}

}  // namespace

std::string_view Texts::keep(std::string_view text) {
  const std::less_equal<const char*> before;
  if (before(body_.data(), text.data()) && before(text.data() + text.size(), body_.data() + body_.size())) return text;
  auto* const copy = static_cast<char*>(memory_.allocate(text.size(), 1));
  std::copy(text.begin(), text.end(), copy);
  return {copy, text.size()};
}

Row rowOf(const Members& members, std::string_view record, Texts& texts) {
  Row row;
  row.record = record;
  for (std::size_t at = 0; at < members.kind->fields.size(); ++at) {
    const auto& field = members.kind->fields[at];
    const auto* const value = members.values[at];
    if (value == nullptr) continue;
    if (field.column != Column::count) row[field.column] = cellOf(field, *value, texts);
    if (!field.parts.empty()) fillParts(field, row);
    if (field.name == "impression_data") fillRevenue(*value, texts, row);
  }
  return row;
}

}  // namespace collector

#include "collector/records/Rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace collector {

namespace {

constexpr std::size_t kMaxReasons = 20;  // of one record
constexpr std::size_t kMaxNotes = 20;

// Collects what is found in one record.
class Finder {
 public:
  Finder(Members& members, Findings& findings) : members_(members), findings_(findings) {}

  void match(const JsonValue& record) {
    std::size_t expected = 0;  // members usually come in the order of the fields
    for (const auto& member : record.GetObject()) {
      const auto at = indexOf(textOf(member.name), expected);
      if (at == fields().size()) {
        noteUnknown(member.name);
        continue;
      }
      expected = at + 1;
      if (members_.values[at] != nullptr) fault(fields()[at], [] { return "is there twice"; });
      members_.values[at] = &member.value;
    }
  }

  // Each field by itself, then what one means for another: that runs where they are right one by one.
  void check() {
    for (std::size_t at = 0; at < fields().size() && isOn(); ++at) checkAlone(fields()[at], members_.values[at]);
    if (!findings_.good) return;
    for (std::size_t at = 0; at < fields().size() && isOn(); ++at) checkAmongOthers(fields()[at], members_.values[at]);
  }

 private:
  [[nodiscard]] std::span<const Field> fields() const { return members_.kind->fields; }
  [[nodiscard]] bool isOn() const { return findings_.good || findings_.inWords; }

  // The number of fields when there is none of the name.
  [[nodiscard]] std::size_t indexOf(std::string_view name, std::size_t expected) const {
    const auto all = fields();
    for (std::size_t at = expected; at < all.size(); ++at)
      if (all[at].name == name) return at;
    for (std::size_t at = 0; at < expected; ++at)
      if (all[at].name == name) return at;
    return all.size();
  }

  template <class Describe>
  void fault(const Field& field, Describe describe) {
    findings_.good = false;
    if (findings_.inWords && findings_.reasons.size() < kMaxReasons)
      findings_.reasons.push_back(fmt::format("{}: {}", field.name, describe()));
  }
  void note(std::string_view of, std::string_view what) {
    if (findings_.notes.size() < kMaxNotes) findings_.notes.push_back(fmt::format("{}: {}", of, what));
  }
  void noteUnknown(const JsonValue& name) {
    if (findings_.notes.size() < kMaxNotes)
      note(members_.kind->category, fmt::format("{} is no field that is known", shown(name)));
  }

  void checkAlone(const Field& field, const JsonValue* value) {
    if (value == nullptr) {
      if (field.need == Need::always && field.onlyWhere.field.empty())
        fault(field, [&] { return fmt::format("is missing; it is {}", describe(field.shape)); });
    } else if (field.need == Need::never) {
      fault(field, [&] { return fmt::format("must not be sent with {}", members_.kind->category); });
    } else if (!fits(field.shape, *value)) {
      fault(field, [&] { return describeMisfit(field.shape, *value); });
    } else if (field.usual != nullptr && !field.usual->holds(textOf(*value))) {
      note(field.name, fmt::format("{} is not {}", shown(*value), field.usual->meaning));
    }
  }

  void checkAmongOthers(const Field& field, const JsonValue* value) {
    const auto& where = field.onlyWhere;
    if (!where.field.empty() && !holds(where)) {
      if (value != nullptr)
        fault(field, [&] {
          return fmt::format("only where {} is {}, not {}", where.field, describe(where.words),
                             firstPartOf(where.field));
        });
    } else if (value == nullptr) {
      if (field.need == Need::always)
        fault(field, [&] {
          return fmt::format("is missing; it is {} where {} is {}", describe(field.shape), where.field,
                             describe(where.words));
        });
    } else if (!field.belowZeroWhere.field.empty()) {
      checkSign(field, *value);
    }
  }

  void checkSign(const Field& field, const JsonValue& value) {
    const bool below = holds(field.belowZeroWhere);
    if (below ? value.GetDouble() < 0 : value.GetDouble() > 0) return;
    fault(field, [&] {
      return fmt::format("{} is not {} 0, as that of a {} is", shown(value), below ? "below" : "above",
                         firstPartOf(field.belowZeroWhere.field));
    });
  }

  [[nodiscard]] std::string_view firstPartOf(std::string_view name) const {
    const auto* const value = members_.values[indexOf(name, 0)];
    if (value == nullptr) return {};
    return textOf(*value).substr(0, textOf(*value).find(':'));
  }
  [[nodiscard]] bool holds(const Condition& condition) const {
    return isOneOf(firstPartOf(condition.field), condition.words);
  }

  Members& members_;
  Findings& findings_;
};

void refuse(Findings& findings, const std::string& reason) {
  findings.good = false;
  if (findings.inWords) findings.reasons.push_back(reason);
}

void findKind(const JsonValue& record, Members& members, Findings& findings) {
  const auto* const category = findMember(record, "category");
  const auto kinds = recordKinds();
  const auto kind = category == nullptr || !category->IsString()
                        ? kinds.end()
                        : std::find_if(kinds.begin(), kinds.end(),
                                       [&](const RecordKind& each) { return each.category == textOf(*category); });
  if (kind != kinds.end()) {
    members.kind = &*kind;
    return;
  }
  findings.good = false;
  if (!findings.inWords) return;
  std::vector<std::string_view> words;
  for (const auto& each : kinds) words.push_back(each.category);
  const auto shape = shapes::oneOf(words);
  refuse(findings, "category: " + (category == nullptr ? "is missing; it is " + describe(shape)
                                                       : describeMisfit(shape, *category)));
}

}  // namespace

Members readRecord(const JsonValue& record, std::size_t bytes, Findings& findings) {
  Members members;
  if (!record.IsObject()) refuse(findings, findings.inWords ? "the record is not an object but " + shown(record) : "");
  else if (bytes > kMaxRecordBytes)
    refuse(findings, fmt::format("the record has {} bytes, and {} are allowed", bytes, kMaxRecordBytes));
  else findKind(record, members, findings);
  if (members.kind == nullptr) return members;
  Finder finder(members, findings);
  finder.match(record);
  finder.check();
  return members;
}

Members readInitBody(const JsonValue& body, Findings& findings) {
  Members members;
  if (!body.IsObject()) {
    refuse(findings, "the body is not an object");
    return members;
  }
  members.kind = &initKind();
  Finder finder(members, findings);
  finder.match(body);
  finder.check();
  return members;
}

}  // namespace collector

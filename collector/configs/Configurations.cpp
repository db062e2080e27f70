#include "collector/configs/Configurations.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include "collector/base/Json.h"
#include "collector/base/Text.h"
#include "collector/configs/Digest.h"

namespace collector {

namespace {

constexpr std::size_t kMaxName = 64;
constexpr std::int64_t kMaxWeight = 1'000'000;
constexpr std::int64_t kMaxTime = 99'999'999'999;
// A game takes no answer of more than 256 KiB, "/" counted twice, as it writes it. The rest is for names and digits.
constexpr std::size_t kMaxGiven = std::size_t{200} << 10U;

// Where a player stands among all, from 0 to below `parts`; another place for each purpose.
std::uint64_t placeOf(std::string_view userId, std::string_view purpose, std::uint64_t parts) {
  return digestNumber(fmt::format("{}\n{}", purpose, userId)) % parts;
}

class Wrong : public std::runtime_error {
 public:
  Wrong(const std::string& where, std::string_view what) : std::runtime_error(fmt::format("{}: {}", where, what)) {}
};

// One object of the document: its members are asked for by name, and those that nobody asked for are wrong.
class Members {
 public:
  Members(const JsonValue& object, std::string where) : object_(object), where_(std::move(where)) {
    if (!object.IsObject()) throw Wrong(where_, "it must be an object");
  }
  [[nodiscard]] std::string at(std::string_view name) const { return fmt::format("{}.{}", where_, name); }

  const JsonValue* find(std::string_view name) {
    known_.emplace(name);
    const auto* const value = findMember(object_, name);
    return value != nullptr && value->IsNull() ? nullptr : value;
  }
  std::string text(std::string_view name) {
    const auto* value = find(name);
    if (value == nullptr || !value->IsString() || value->GetStringLength() == 0 || value->GetStringLength() > kMaxName)
      throw Wrong(at(name), fmt::format("it must be text of 1 to {} bytes", kMaxName));
    return std::string(textOf(*value));
  }
  std::int64_t whole(std::string_view name, std::int64_t fallback, std::int64_t most) {
    const auto* value = find(name);
    if (value == nullptr) return fallback;
    if (!value->IsInt64() || value->GetInt64() < 0 || value->GetInt64() > most)
      throw Wrong(at(name), fmt::format("it must be a whole number from 0 to {}", most));
    return value->GetInt64();
  }
  Window window() {
    Window window{time("start_ts"), time("end_ts")};
    if (window.start && window.end && *window.start >= *window.end)
      throw Wrong(at("end_ts"), "it must be later than start_ts");
    return window;
  }
  std::string json(std::string_view name) {
    const auto* value = find(name);
    if (value == nullptr) throw Wrong(at(name), "it is missing; any JSON but null");
    return jsonText(*value);
  }
  std::vector<std::string> texts(std::string_view name) {
    std::vector<std::string> all;
    each(name, [&](const JsonValue& value, const std::string& where) {
      if (!value.IsString()) throw Wrong(where, "it must be text");
      all.emplace_back(textOf(value));
    });
    return all;
  }
  template <class Take>
  void each(std::string_view name, Take take) {
    const auto* list = find(name);
    if (list == nullptr) return;
    if (!list->IsArray()) throw Wrong(at(name), "it must be a list");
    std::size_t index = 0;
    for (const auto& value : list->GetArray()) take(value, fmt::format("{}[{}]", at(name), index++));
  }
  void expectNoOthers() const {
    std::set<std::string_view> seen;
    for (const auto& member : object_.GetObject()) {
      const auto name = textOf(member.name);
      if (!known_.contains(name))
        throw Wrong(at(prefixOf(name, kMaxName)), fmt::format("it is unknown; there are {}", fmt::join(known_, ", ")));
      if (!seen.insert(name).second) throw Wrong(at(name), "it is there twice");
    }
  }

 private:
  std::optional<std::int64_t> time(std::string_view name) {
    const auto* value = find(name);
    if (value == nullptr) return std::nullopt;
    if (!value->IsInt64() || value->GetInt64() < 0 || value->GetInt64() > kMaxTime)
      throw Wrong(at(name), "it must be whole seconds since 1970, or null");
    return value->GetInt64();
  }

  const JsonValue& object_;
  const std::string where_;
  std::set<std::string, std::less<>> known_;
};

Conditions readConditions(Members& members) {
  return {members.texts("platforms"), members.texts("builds"), members.whole("share", 100, 100)};
}

Configuration readConfiguration(const JsonValue& value, const std::string& where, bool hasConditions) {
  Members members(value, where);
  Configuration read{members.text("key"), members.json("value"), members.window(), {}};
  if (hasConditions) read.conditions = readConditions(members);
  members.expectNoOthers();
  return read;
}

template <class Each>
void expectNewId(const std::vector<Each>& others, std::string_view id, const std::string& where) {
  if (std::ranges::find(others, id, &Each::id) != others.end()) throw Wrong(where + ".id", "another one has it");
}

ExperimentGroup readGroup(const JsonValue& value, const std::string& where) {
  Members members(value, where);
  ExperimentGroup group{members.text("id"), members.whole("weight", 1, kMaxWeight), {}};
  members.each("configurations", [&](const JsonValue& each, const std::string& at) {
    group.configurations.push_back(readConfiguration(each, at, false));
  });
  members.expectNoOthers();
  return group;
}

Experiment readExperiment(const JsonValue& value, const std::string& where) {
  Members members(value, where);
  Experiment experiment{members.text("id"), members.window(), readConditions(members), {}};
  std::int64_t weights = 0;
  members.each("groups", [&](const JsonValue& each, const std::string& at) {
    ExperimentGroup group = readGroup(each, at);
    expectNewId(experiment.groups, group.id, at);
    weights += group.weight;
    experiment.groups.push_back(std::move(group));
  });
  members.expectNoOthers();
  if (weights == 0) throw Wrong(members.at("groups"), "at least one group must have a weight above 0");
  return experiment;
}

bool holds(const std::vector<std::string>& allowed, std::string_view one) {
  return allowed.empty() || std::ranges::find(allowed, one) != allowed.end();
}

// An entry of a share holds for the same players as others of its purpose with a larger one.
bool apply(const Conditions& conditions, const Asker& asker, const std::string& purpose) {
  if (!holds(conditions.platforms, asker.platform) || !holds(conditions.builds, asker.build)) return false;
  return conditions.share == 100 ||
         (!asker.userId.empty() && placeOf(asker.userId, purpose, 100) < static_cast<std::uint64_t>(conditions.share));
}

bool apply(const Window& window, std::int64_t now) {
  return (!window.start || *window.start < now) && (!window.end || now < *window.end);
}

const ExperimentGroup& groupOf(const Experiment& experiment, std::string_view userId) {
  std::uint64_t weights = 0;
  for (const auto& group : experiment.groups) weights += static_cast<std::uint64_t>(group.weight);
  std::uint64_t place = placeOf(userId, "group of " + experiment.id, weights);
  for (const auto& group : experiment.groups) {
    if (place < static_cast<std::uint64_t>(group.weight)) return group;
    place -= static_cast<std::uint64_t>(group.weight);
  }
  return experiment.groups.back();
}

std::string timeText(const std::optional<std::int64_t>& time) { return time ? std::to_string(*time) : "null"; }

std::string entry(const Configuration& each) {
  return fmt::format(R"({{"key":{},"value":{},"start_ts":{},"end_ts":{}}})", quotedJson(each.key), each.value,
                     timeText(each.window.start), timeText(each.window.end));
}

std::size_t givenSize(const std::vector<Configuration>& configurations) {
  std::size_t size = 0;
  for (const auto& each : configurations) {
    const std::string text = entry(each);
    size += text.size() + static_cast<std::size_t>(std::ranges::count(text, '/'));
  }
  return size;
}

// Refuses what a game could not take.
void expectToFit(const Configurations& all) {
  std::size_t largest = 0;
  for (const auto& experiment : all.experiments)
    for (const auto& group : experiment.groups) largest = std::max(largest, givenSize(group.configurations));
  if (givenSize(all.configurations) + largest > kMaxGiven)
    throw Wrong("document", fmt::format("what one player gets must have at most {} bytes", kMaxGiven));
}

}  // namespace

std::variant<Configurations, std::string> Configurations::read(std::string_view document) {
  const auto parsed = parseJson(document);
  if (!parsed.failure.empty()) return parsed.failure;
  try {
    Configurations all;
    Members members(parsed.document, "document");
    members.each("configurations", [&](const JsonValue& each, const std::string& where) {
      all.configurations.push_back(readConfiguration(each, where, true));
    });
    members.each("experiments", [&](const JsonValue& each, const std::string& where) {
      Experiment experiment = readExperiment(each, where);
      expectNewId(all.experiments, experiment.id, where);
      all.experiments.push_back(std::move(experiment));
    });
    members.expectNoOthers();
    expectToFit(all);
    return all;
  } catch (const Wrong& wrong) {
    return std::string(wrong.what());
  }
}

// A game takes the last entry of a key whose time it is: those of the group come last. Of the experiments, the first
// one that takes the player is theirs: a game knows one at a time.
Configurations::Given Configurations::forPlayer(const Asker& asker) const {
  std::vector<const Configuration*> chosen;
  for (const auto& each : configurations)
    if (apply(each.conditions, asker, "share of " + each.key)) chosen.push_back(&each);
  const auto experiment = std::ranges::find_if(experiments, [&](const Experiment& each) {
    return !asker.userId.empty() && apply(each.window, asker.now) &&
           apply(each.conditions, asker, "share of experiment " + each.id);
  });
  const ExperimentGroup* group = experiment != experiments.end() ? &groupOf(*experiment, asker.userId) : nullptr;
  if (group != nullptr)
    for (const auto& each : group->configurations) chosen.push_back(&each);
  if (chosen.empty() && group == nullptr) return {"", R"("configs":[],"configs_hash":"")"};

  std::string content = "\"configs\":" + joinedJson('[', chosen, ']', [](const auto* each) { return entry(*each); });
  if (group != nullptr)
    content += fmt::format(R"(,"ab_id":{},"ab_variant_id":{})", quotedJson(experiment->id), quotedJson(group->id));
  std::string hash = digestText(content);
  return {hash, fmt::format(R"({},"configs_hash":"{}")", content, hash)};
}

}  // namespace collector

#include "crowd/Truth.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "crowd/Visits.h"

namespace crowd {

namespace {

constexpr std::int64_t kHourSeconds = 3'600;

template <class Key, class Value>
void addAll(std::map<Key, Value>& into, const std::map<Key, Value>& from) {
  for (const auto& [key, value] : from) into[key] += value;
}

std::string pairOf(std::string_view one, std::string_view other) { return fmt::format("{}:{}", one, other); }

// What one record adds to each slice that it belongs to.
struct InSlice {
  Slice& slice;
  std::uint32_t player;

  void operator()(const SessionStart& start) const {
    ++slice.sessions;
    slice.newPlayers += start.install ? 1 : 0;
  }
  void operator()(const SessionEnd& end) const { slice.lengths.add(end.length); }
  void operator()(const Purchase& purchase) const {
    slice.revenue[std::string(purchase.currency)].add(purchase.amount);
    slice.payers.add(player);
  }
  void operator()(const Resource& resource) const {
    Flow& flow = slice.economy[std::string(resource.currency)];
    (resource.source ? flow.source : flow.sink).add(resource.amount);
  }
  void operator()(const Progression& progression) const {
    switch (progression.status) {
      case Status::start: ++slice.starts; break;
      case Status::complete: ++slice.completes; break;
      case Status::fail: ++slice.fails; break;
    }
  }
  void operator()(const Design&) const {}
  void operator()(const Error& error) const {
    ++slice.errors;
    slice.crashes += error.crash ? 1 : 0;
  }
  void operator()(const Ad& ad) const { slice.adsShown += ad.action == "show" ? 1 : 0; }
  void operator()(const Impression& impression) const { slice.impressions.add(impression.revenue); }
  void operator()(const SdkError&) const {}
};

// What one record adds to the tables that are kept once.
struct InTables {
  Truth& truth;
  const Record& record;

  void operator()(const SessionStart& start) const {
    if (start.install) truth.installed[record.common->player] = record.time / kDaySeconds;
    if (Activity* const activity = inGroup()) ++activity->sessions;
  }
  void operator()(const SessionEnd& end) const {
    if (Activity* const activity = inGroup()) *activity += {0, 1, end.length};
  }
  void operator()(const Purchase& purchase) const {
    truth.items[{std::string(purchase.currency), pairOf(purchase.itemType, purchase.itemId)}].add(purchase.amount);
    LifeTruth& life = truth.lives[record.common->player];
    const std::int64_t day = record.time / kDaySeconds;
    life.bought = std::min(life.bought.value_or(day), day);
    if (!record.common->abId.empty())
      life.paid[{pairOf(record.common->abId, record.common->abVariant), std::string(purchase.currency)}] +=
          purchase.amount;
  }
  void operator()(const Resource& resource) const {
    Flow& flow = truth.goods[{std::string(resource.currency), pairOf(resource.itemType, resource.itemId)}];
    (resource.source ? flow.source : flow.sink).add(resource.amount);
  }
  void operator()(const Progression& progression) const {
    LevelTruth& level = truth.levels[std::string(progression.path)];
    truth.lives[record.common->player].levels[std::string(progression.path)].push_back(
        {record.time, progression.status});
    if (progression.score) level.scores.add(*progression.score);
    switch (progression.status) {
      case Status::start: ++level.starts; return level.starters.add(record.common->player);
      case Status::fail: ++level.fails; return;
      case Status::complete:
        ++level.completes;
        level.attempts.add(progression.attempt.value_or(0));
        return level.completers.add(record.common->player);
    }
  }
  void operator()(const Design& design) const {
    auto& [count, values] = truth.designs[std::string(design.id)];
    ++count;
    if (design.quarters) values.add(*design.quarters);
  }
  void operator()(const Error& error) const {
    ErrorTruth& known = truth.errors[{std::string(error.severity), error.message}];
    ++known.count;
    known.players.add(record.common->player);
  }
  void operator()(const Ad& ad) const {
    AdTruth& known = truth.ads[{std::string(ad.network), std::string(ad.type)}];
    ++known.actions[std::string(ad.action)];
    if (!ad.failure.empty()) ++known.failures[std::string(ad.failure)];
    if (ad.milliseconds) known.milliseconds.add(*ad.milliseconds);
  }
  void operator()(const Impression& impression) const {
    truth.impressions[std::string(impression.network)].add(impression.revenue);
  }
  void operator()(const SdkError& error) const { ++truth.sdkErrors[std::string(error.action)]; }

 private:
  // Of the record's player; null where there is no experiment.
  [[nodiscard]] Activity* inGroup() const {
    const Common& common = *record.common;
    return common.abId.empty() ? nullptr : &truth.lives[common.player].groups[pairOf(common.abId, common.abVariant)];
  }
};

void countIn(Slice& slice, const Record& record) {
  ++slice.events;
  slice.players.add(record.common->player);
  std::visit(InSlice{slice, record.common->player}, record.what);
}

}  // namespace

void Distinct::add(std::uint32_t number) {
  if (numbers_.empty() || numbers_.back() != number) numbers_.push_back(number);
}

Distinct& Distinct::operator+=(const Distinct& other) {
  numbers_.insert(numbers_.end(), other.numbers_.begin(), other.numbers_.end());
  return *this;
}

std::vector<std::uint32_t> Distinct::sorted() const {
  auto numbers = numbers_;
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

void Sum::add(std::int64_t value) {
  ++count;
  amount += value;
}

Sum& Sum::operator+=(const Sum& other) {
  count += other.count;
  amount += other.amount;
  return *this;
}

Flow& Flow::operator+=(const Flow& other) {
  source += other.source;
  sink += other.sink;
  return *this;
}

Slice& Slice::operator+=(const Slice& other) {
  players += other.players;
  payers += other.payers;
  for (const auto member : {&Slice::events, &Slice::newPlayers, &Slice::sessions, &Slice::errors, &Slice::crashes,
                            &Slice::adsShown, &Slice::starts, &Slice::completes, &Slice::fails})
    this->*member += other.*member;
  lengths += other.lengths;
  addAll(revenue, other.revenue);
  addAll(economy, other.economy);
  impressions += other.impressions;
  return *this;
}

LevelTruth& LevelTruth::operator+=(const LevelTruth& other) {
  starts += other.starts;
  completes += other.completes;
  fails += other.fails;
  attempts += other.attempts;
  scores += other.scores;
  starters += other.starters;
  completers += other.completers;
  return *this;
}

ErrorTruth& ErrorTruth::operator+=(const ErrorTruth& other) {
  count += other.count;
  players += other.players;
  return *this;
}

LifeTruth& LifeTruth::operator+=(const LifeTruth& other) {
  if (other.bought) bought = std::min(bought.value_or(*other.bought), *other.bought);
  addAll(paid, other.paid);
  addAll(groups, other.groups);
  for (const auto& [path, reports] : other.levels)
    levels[path].insert(levels[path].end(), reports.begin(), reports.end());
  return *this;
}

Activity& Activity::operator+=(const Activity& other) {
  sessions += other.sessions;
  ended += other.ended;
  seconds += other.seconds;
  return *this;
}

HourTruth& HourTruth::operator+=(const HourTruth& other) {
  players += other.players;
  sessions += other.sessions;
  events += other.events;
  return *this;
}

AdTruth& AdTruth::operator+=(const AdTruth& other) {
  addAll(actions, other.actions);
  addAll(failures, other.failures);
  milliseconds += other.milliseconds;
  return *this;
}

void Truth::count(const Record& record) {
  ++categories[std::string(categoryOf(record))];
  std::visit(InTables{*this, record}, record.what);
  if (std::holds_alternative<SdkError>(record.what)) return;  // it has no player, time or build
  const Common& common = *record.common;
  countIn(all, record);
  countIn(days[record.time / kDaySeconds], record);
  HourTruth& hour = hours[record.time / kHourSeconds];
  ++hour.events;
  hour.players.add(common.player);
  if (std::holds_alternative<SessionStart>(record.what)) ++hour.sessions;
  countIn(builds[std::string(common.build)], record);
  buildDays[{std::string(common.build), record.time / kDaySeconds}].add(common.player);
  countIn(platforms[std::string(common.platform)], record);
  if (!common.abId.empty()) countIn(groups[pairOf(common.abId, common.abVariant)], record);
  for (std::size_t each = 0; each < common.dimensions.size(); ++each)
    if (!common.dimensions[each].empty())
      countIn(dimensions[{fmt::format("custom_0{}", each + 1), std::string(common.dimensions[each])}], record);
}

Truth& Truth::operator+=(const Truth& other) {
  all += other.all;
  addAll(days, other.days);
  for (const auto member : {&Truth::builds, &Truth::platforms, &Truth::groups}) addAll(this->*member, other.*member);
  addAll(dimensions, other.dimensions);
  addAll(buildDays, other.buildDays);
  addAll(categories, other.categories);
  addAll(levels, other.levels);
  addAll(items, other.items);
  addAll(goods, other.goods);
  for (const auto& [id, counted] : other.designs) {
    designs[id].first += counted.first;
    designs[id].second += counted.second;
  }
  addAll(errors, other.errors);
  addAll(ads, other.ads);
  addAll(impressions, other.impressions);
  addAll(sdkErrors, other.sdkErrors);
  installed.insert(other.installed.begin(), other.installed.end());
  addAll(lives, other.lives);
  addAll(hours, other.hours);
  return *this;
}

}  // namespace crowd

#include "crowd/Player.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "crowd/RecordText.h"

namespace crowd {

namespace {

constexpr std::string_view kOwnExperiment = "level_difficulty";
constexpr double kStaysWithEasier = 1.3;
constexpr double kUpdates = 0.6;  // probability, each session

// A player has a stream for its person and arrival, and one for its life.
Random birth(std::uint64_t seed, std::uint32_t number) { return {seed, std::uint64_t{number} * 2}; }
Random life(std::uint64_t seed, std::uint32_t number) { return {seed, std::uint64_t{number} * 2 + 1}; }

struct Born {
  Person person;
  std::int64_t arrival;
};

Born bear(std::uint64_t seed, std::uint32_t number, const Period& period) {
  Random random = birth(seed, number);
  Person person = makePerson(number, random);
  const auto arrival = drawArrival(period, person.country->hoursFromUtc, random);
  return {std::move(person), arrival};
}

const Build& newestAt(std::int64_t time, const Period& period) {
  const double length = static_cast<double>(std::max<std::int64_t>(1, period.until - period.from));
  const double over = static_cast<double>(time - period.from) / length;
  const auto all = builds();
  const auto later = std::find_if(all.begin() + 1, all.end(), [&](const Build& each) { return each.released > over; });
  return *std::prev(later);
}

}  // namespace

Player::Player(std::uint64_t seed, std::uint32_t number, const Rules& rules)
    : rules_(rules),
      random_(life(seed, number)),
      person_(bear(seed, number, rules.period).person),
      visits_(arrivalOf(seed, number, rules), person_.country->hoursFromUtc, person_.devotion) {}

std::int64_t Player::arrivalOf(std::uint64_t seed, std::uint32_t number, const Rules& rules) {
  return bear(seed, number, rules.period).arrival;
}

void Player::begin(std::int64_t start) {
  const Build& newest = newestAt(start, rules_.period);
  if (build_ == nullptr || random_.chance(kUpdates)) build_ = &newest;
}

Records Player::play(const Visit& visit, const InitAnswer& answer, std::int64_t now) {
  if (answer.configs) configs_ = *answer.configs;
  ++standing_.sessions;
  Records records;
  if (missedEnd_) records.push_back(*std::exchange(missedEnd_, std::nullopt));
  const auto common = makeCommon(now);
  auto outcome = Play(person_, *build_, standing_, abVariant_ == rules_.better, common, random_).run(visit);
  std::move(outcome.records.begin(), outcome.records.end(), std::back_inserter(records));
  missedEnd_ = std::move(outcome.missedEnd);
  gaveUp_ = outcome.gaveUp;
  return records;
}

std::optional<Visit> Player::nextVisit(std::int64_t notBefore) {
  if (gaveUp_) return std::nullopt;
  return visits_.next(notBefore, stay(), random_);
}

double Player::stay() const {
  const double stay = build_ == nullptr ? 1 : build_->stay;
  return abVariant_ == rules_.better ? stay * kStaysWithEasier : stay;
}

std::shared_ptr<const Common> Player::makeCommon(std::int64_t now) {
  const bool own = configs_.abId.empty() && rules_.ownExperiment;
  abId_ = own ? std::string(kOwnExperiment) : configs_.abId;
  abVariant_ = own ? std::string(person_.ownVariant) : configs_.abVariant;

  auto common = std::make_shared<Common>();
  const Platform& platform = *person_.platform;
  common->player = person_.number;
  common->userId = person_.userId;
  common->sessionId = random_.uuid();
  common->idfa = person_.idfa;
  common->idfv = person_.idfv;
  common->osVersion = platform.osVersion;
  common->manufacturer = platform.manufacturer;
  common->device = person_.device;
  common->platform = platform.name;
  common->engineVersion = platform.engine;
  common->build = build_->name;
  common->buildNumber = build_->number;
  common->sessionNum = standing_.sessions;
  common->connection = random_.chance(0.93) ? "wifi" : "offline";
  common->trackingStatus = person_.trackingStatus;
  common->configurations = configs_.inForce(now);
  common->abId = abId_;
  common->abVariant = abVariant_;
  common->dimensions = person_.dimensions;
  common->text = textOf(*common);
  return common;
}

}  // namespace crowd

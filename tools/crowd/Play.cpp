#include "crowd/Play.h"

#include <algorithm>

namespace crowd {

namespace {

constexpr double kEasier = 0.10;
constexpr double kLearning = 0.03;  // each try makes the next one easier
constexpr double kGivesUp = 0.02;   // each try that failed beyond the third
constexpr std::int64_t kContinuePrice = 3;

}  // namespace

Play::Outcome Play::run(const Visit& visit) {
  now_ = visit.start;
  end_ = visit.start + visit.seconds;
  add(SessionStart{standing_.sessions == 1});
  if (random_.chance(0.25)) earn(kGems, "gift", "daily", 2);
  if (random_.chance(0.01)) {
    const auto& refused = random_.weighted(refusals());
    add(SdkError{refused.area, refused.action, refused.parameter, refused.reason});
  }
  while (now_ < end_ && !crashed_ && !outcome_.gaveUp) playRound();
  auto end = made(SessionEnd{now_ - visit.start});
  if (crashed_) outcome_.missedEnd = std::move(end);
  else outcome_.records.push_back(std::move(end));
  return std::move(outcome_);
}

void Play::playRound() {
  const auto all = levels();
  const Level& level = all[standing_.level];
  advance(2, 10);
  click();
  add(Progression{Status::start, level.path, {}, {}});
  advance(15, 80);
  if (random_.chance(0.25)) click();
  if (random_.chance(build_.crash)) return crash();
  if (random_.chance(0.02)) {
    const auto& trouble = random_.weighted(troubles());
    add(Error{trouble.severity, std::string(trouble.message), false});
  }
  const double help = person_.skill + (easier_ ? kEasier : 0) + kLearning * static_cast<double>(standing_.tries);
  if (random_.chance(std::clamp(level.pass + help, 0.05, 0.98))) pass(level);
  else fail(level);
  advance(1, 6);
  spend();
  if (random_.chance(person_.spending)) buy();
}

void Play::pass(const Level& level) {
  const auto number = static_cast<std::int64_t>(standing_.level);
  add(Progression{Status::complete, level.path, random_.whole(200, 900) + 50 * number, standing_.tries + 1});
  standing_.tries = 0;
  standing_.level = std::min(standing_.level + 1, levels().size() - 1);
  earn(kGold, "reward", "level", 20 + 6 * number);
  if (number % 10 == 0) earn(kGems, "reward", "boss", 4);
  if (number % 3 == 2) showAd("level_end", "interstitial");
}

void Play::fail(const Level& level) {
  std::optional<std::int64_t> score;
  if (random_.chance(0.6)) score = random_.whole(0, 200);
  add(Progression{Status::fail, level.path, score, {}});
  ++standing_.tries;
  if (standing_.gems >= kContinuePrice && random_.chance(0.2)) {
    standing_.gems -= kContinuePrice;
    add(Resource{false, kGems, "continue", "revive", kContinuePrice});
  } else if (random_.chance(0.35)) {
    showAd("second_chance", "rewarded_video");
  }
  outcome_.gaveUp = standing_.tries > 3 && random_.chance(kGivesUp);
}

void Play::click() {
  const auto& click = random_.weighted(clicks());
  std::optional<std::int64_t> value;
  if (click.most > 0) value = random_.whole(0, 4 * click.most);
  add(Design{click.id, value});
}

void Play::buy() {
  constexpr std::string_view kCarts[] = {"shop", "shop", "offer", ""};
  const auto& good = random_.weighted(goods());
  const auto amount = static_cast<std::int64_t>(static_cast<double>(good.cents) * person_.country->perDollar);
  const bool receipt = person_.platform->name == "ios" && random_.chance(0.8);
  add(Purchase{good.itemType, good.itemId, person_.country->currency, amount, ++standing_.purchases,
               random_.oneOf(kCarts), receipt});
  if (good.gems > 0) earn(kGems, "purchase", good.itemId, good.gems);
}

void Play::earn(std::string_view currency, std::string_view itemType, std::string_view itemId, std::int64_t amount) {
  (currency == kGold ? standing_.gold : standing_.gems) += amount;
  add(Resource{true, currency, itemType, itemId, amount});
}

void Play::spend() {
  if (!random_.chance(0.5)) return;
  const auto& sink = random_.weighted(sinks());
  auto& purse = sink.currency == kGold ? standing_.gold : standing_.gems;
  if (purse < sink.price) return;
  purse -= sink.price;
  add(Resource{false, sink.currency, sink.itemType, sink.itemId, sink.price});
}

void Play::showAd(std::string_view placement, std::string_view type) {
  const auto& network = random_.weighted(networks());
  const bool video = type == "rewarded_video";
  const auto note = [&](std::string_view action, std::string_view failure = {}, std::int64_t milliseconds = 0) {
    const auto duration = video && milliseconds > 0 ? std::optional(milliseconds) : std::nullopt;
    add(Ad{network.name, placement, type, action, failure, duration});
  };
  note("request");
  if (random_.chance(network.fails)) {
    const auto failures = adFailures();
    return note("failed_show",
                failures[static_cast<std::size_t>(random_.whole(0, static_cast<std::int64_t>(failures.size()) - 1))]);
  }
  note("loaded");
  const auto seconds = random_.whole(5, 30);
  note("show", {}, seconds * 1'000 + random_.whole(0, 999));
  const auto revenue = std::max<std::int64_t>(1, static_cast<std::int64_t>(random_.exponential(network.revenue)));
  add(Impression{network.name, network.version, placement, type, revenue});
  advance(seconds, seconds);
  if (random_.chance(0.06)) note("clicked");
  if (!video) return;
  note("reward_received");
  earn(kGold, "reward", "video", 25);
}

void Play::crash() {
  const auto place = static_cast<std::size_t>(random_.whole(0, static_cast<std::int64_t>(kCrashPlaces) - 1));
  add(Error{"critical", crashText(build_, place), true});
  crashed_ = true;
}

// A session never lasts longer than it was to: its rounds get shorter at the end.
void Play::advance(std::int64_t least, std::int64_t most) { now_ = std::min(end_, now_ + random_.whole(least, most)); }

Record Play::made(What what) {
  Record record{common_, now_, random_.uuid(), std::move(what), {}};
  constexpr std::string_view kWeapons[] = {"sword", "bow", "staff"};
  const bool takesFields =
      std::holds_alternative<Progression>(record.what) || std::holds_alternative<Design>(record.what);
  if (takesFields && random_.chance(0.15))
    record.fields = CustomFields{random_.oneOf(kWeapons), random_.whole(0, 12), random_.chance(0.3)};
  return record;
}

}  // namespace crowd

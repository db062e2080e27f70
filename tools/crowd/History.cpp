#include "crowd/History.h"

#include <chrono>
#include <ctime>

#include "crowd/Threads.h"

namespace crowd {

namespace {
constexpr std::int64_t kArrives = -1;
constexpr auto kWait = std::chrono::milliseconds(100);  // a signal that stops the run wakes nobody
}  // namespace

History::History(const Settings& settings, Run& run) : settings_(settings), run_(run) {
  for (std::uint32_t player = 0; player < settings.players; ++player)
    turns_.push({Player::arrivalOf(settings.seed, player, settings.rules), player, kArrives});
}

void History::run(Truth& truth) {
  runThreads(
      settings_.connections, truth, [this](Truth& counted) { work(counted); }, run_);
}

void History::work(Truth& truth) {
  Delivery delivery(settings_.target, run_);
  while (auto turn = take()) {
    auto& [next, player] = *turn;
    auto visit = next.seconds == kArrives ? player->nextVisit(0) : Visit{next.start, next.seconds};
    if (visit && visit->start + visit->seconds <= settings_.rules.period.until) {
      if (!play(*player, *visit, delivery, truth)) run_.stop();
      visit = player->nextVisit(visit->start + visit->seconds);
    }
    giveBack(std::move(player), visit);
  }
}

std::optional<std::pair<History::Turn, std::unique_ptr<Player>>> History::take() {
  std::unique_lock lock(guard_);
  while (turns_.empty() && playing_ > 0 && !run_.stopping()) changed_.wait_for(lock, kWait);
  if (run_.stopping() || turns_.empty()) return std::nullopt;
  const Turn turn = turns_.top();
  turns_.pop();
  ++playing_;
  run_.reached = turn.start;
  auto known = waiting_.extract(turn.player);
  lock.unlock();
  auto player = known.empty() ? std::make_unique<Player>(settings_.seed, turn.player, settings_.rules)
                              : std::move(known.mapped());
  return std::pair(turn, std::move(player));
}

bool History::play(Player& player, const Visit& visit, Delivery& delivery, Truth& truth) {
  player.begin(visit.start);
  const auto answer = delivery.init(player.initTarget(settings_.target.game.key), player.initBody());
  if (!answer) return false;
  const auto now = answer->serverTime.value_or(std::time(nullptr));
  return delivery.send(player.play(visit, *answer, now), truth);
}

void History::giveBack(std::unique_ptr<Player> player, std::optional<Visit> next) {
  const std::scoped_lock lock(guard_);
  --playing_;
  if (next && next->start + next->seconds > settings_.rules.period.until) {
    staying_.push_back(std::move(player));
  } else if (next) {
    turns_.push({next->start, player->number(), next->seconds});
    waiting_.emplace(player->number(), std::move(player));
  }
  changed_.notify_all();
}

}  // namespace crowd

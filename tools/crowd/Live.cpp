#include "crowd/Live.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <iterator>
#include <optional>
#include <thread>

#include "crowd/Threads.h"

namespace crowd {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kEvery = 8;  // seconds between a session's batches
constexpr double kFirstEvents = 2;  // of a session, at once
constexpr double kNewPlayers = 0.3;
constexpr std::size_t kMostResting = 200'000;
constexpr auto kNap = std::chrono::milliseconds(20);

std::int64_t now() { return std::time(nullptr); }

// What happened until `now`, the session's end by then included.
Records cutAt(Records records, std::int64_t start, std::int64_t now) {
  std::optional<Record> end;
  if (!records.empty() && std::holds_alternative<SessionEnd>(records.back().what)) {
    end = std::move(records.back());
    records.pop_back();
  }
  std::erase_if(records, [&](const Record& record) { return record.time > now; });
  if (!end) return records;  // it was to crash
  end->time = std::max(start, std::min(end->time, now));
  end->what = SessionEnd{end->time - start};
  records.push_back(*std::move(end));
  return records;
}

}  // namespace

Live::Live(const Settings& settings, Run& run, std::vector<std::unique_ptr<Player>> known)
    : settings_(settings),
      run_(run),
      salt_(settings.seed ^ (static_cast<std::uint64_t>(now()) << 32U)),
      random_(salt_, 0),
      resting_(std::move(known)),
      nextPlayer_(settings.players) {
  for (auto& player : resting_) player->startLive(salt_);
}

void Live::run(Truth& truth) {
  runThreads(
      settings_.connections, truth, [this](Truth& counted) { work(counted); }, run_);
}

bool Live::ending() const {
  return run_.stopping() || (settings_.seconds && Clock::now() - began_ > *settings_.seconds);
}

void Live::work(Truth& truth) {
  Delivery delivery(settings_.target, run_);
  while (!ending()) {
    auto session = take();
    if (!session) {
      std::this_thread::sleep_for(kNap);
      continue;
    }
    const bool fresh = session->start == 0;
    const bool sent = fresh ? begin(*session, delivery, truth) : sendDue(*session, delivery, truth);
    giveBack(std::move(session));
    if (!sent) run_.stop();
  }
  if (!run_.failed()) endAll(delivery, truth);
}

// A session with something to send, or a new one where fewer events are due than there should be.
std::unique_ptr<Live::Session> Live::take() {
  const std::scoped_lock lock(guard_);
  if (!turns_.empty() && turns_.front().due <= now()) {
    std::pop_heap(turns_.begin(), turns_.end(), std::greater<>());
    auto session = std::move(turns_.back().session);
    turns_.pop_back();
    return session;
  }
  return lacksEvents() ? newSession() : nullptr;
}

bool Live::lacksEvents() {
  while (!planned_.empty() && planned_.begin()->first <= now()) {
    due_ += static_cast<double>(planned_.begin()->second);
    planned_.erase(planned_.begin());
  }
  const double wanted = settings_.rate * std::chrono::duration<double>(Clock::now() - began_).count();
  return due_ + kFirstEvents * static_cast<double>(beginning_) < wanted;
}

std::unique_ptr<Live::Session> Live::newSession() {
  auto session = std::make_unique<Session>();
  if (resting_.empty() || random_.chance(kNewPlayers)) {
    session->player = std::make_unique<Player>(salt_, nextPlayer_++, settings_.rules);
  } else {
    const auto last = static_cast<std::int64_t>(resting_.size()) - 1;
    std::swap(resting_[static_cast<std::size_t>(random_.whole(0, last))], resting_.back());
    session->player = std::move(resting_.back());
    resting_.pop_back();
  }
  ++beginning_;
  return session;
}

bool Live::begin(Session& session, Delivery& delivery, Truth& truth) {
  Player& player = *session.player;
  player.begin(now());
  const auto answer = delivery.init(player.initTarget(settings_.target.game.key), player.initBody());
  if (answer) {
    session.offset = answer->serverTime.value_or(now()) - now();
    session.start = now() + session.offset;
    session.records = player.play({session.start, player.liveSeconds()}, *answer, session.start);
  }
  plan(session);
  return answer && sendDue(session, delivery, truth);
}

void Live::plan(const Session& session) {
  const std::scoped_lock lock(guard_);
  --beginning_;
  for (const auto& record : session.records) ++planned_[record.time - session.offset];
}

bool Live::sendDue(Session& session, Delivery& delivery, Truth& truth) {
  const auto later = std::find_if(session.records.begin(), session.records.end(),
                                  [&](const Record& record) { return record.time - session.offset > now(); });
  Records due(std::make_move_iterator(session.records.begin()), std::make_move_iterator(later));
  session.records.erase(session.records.begin(), later);
  return due.empty() || delivery.send(std::move(due), truth);
}

void Live::giveBack(std::unique_ptr<Session> session) {
  const std::scoped_lock lock(guard_);
  if (session->records.empty()) {
    if (resting_.size() < kMostResting && session->player->comesAgain()) resting_.push_back(std::move(session->player));
    return;
  }
  const auto last = session->records.back().time - session->offset;
  turns_.push_back({std::min(now() + kEvery, std::max(now(), last)), order_++, std::move(session)});
  std::push_heap(turns_.begin(), turns_.end(), std::greater<>());
}

void Live::endAll(Delivery& delivery, Truth& truth) {
  for (;;) {
    std::unique_lock lock(guard_);
    if (turns_.empty()) return;
    const auto session = std::move(turns_.back().session);
    turns_.pop_back();
    lock.unlock();
    auto records = cutAt(std::move(session->records), session->start, now() + session->offset);
    if (!records.empty()) delivery.send(std::move(records), truth);
  }
}

}  // namespace crowd

#include "collector/live/Hub.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>

namespace collector {

namespace {

constexpr std::string_view kBeginning = ": what arrives\nretry: 2000\n\n";
constexpr std::string_view kComment = ":\n\n";

// Numbers go up over restarts, too: a listener that comes back knows one from before.
std::uint64_t firstNumber() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace

Hub::Hub(Pace pace) : pace_(pace), thread_([this] { passOn(); }) {}

Hub::~Hub() {
  {
    const std::scoped_lock lock(guard_);
    isEnding_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Hub::add(const Taken& taken) noexcept try {
  const std::scoped_lock lock(guard_);
  std::vector<const Interest*> wanted;
  for (auto& listener : listeners_) {
    if (listener.game != taken.game) continue;
    listener.came += countFor(listener.interest, taken);
    if (!listener.interest.isEmpty()) wanted.push_back(&listener.interest);
  }
  feedOf(taken.game).add(taken, wanted, Clock::now());
} catch (const std::exception&) {  // out of memory: it is kept, which matters, but not shown
}

std::uint64_t Hub::countFor(const Interest& interest, const Taken& taken) {
  const std::size_t unreadable = interest.isEmpty() && !taken.problem.empty() ? 1 : 0;
  if (interest.isEmpty()) return taken.rows.size() + taken.rejected.size() + unreadable;
  const auto rows = std::ranges::count_if(taken.rows, [&](const Row& row) { return interest.fits(row); });
  const auto refused =
      std::ranges::count_if(taken.rejected, [&](const Rejected& each) { return interest.fits(each.record); });
  return static_cast<std::uint64_t>(rows + refused);
}

Feed& Hub::feedOf(const std::string& game) { return feeds_.try_emplace(game, firstNumber()).first->second; }

void Hub::forget(const std::string& game, const std::string& userId, std::int64_t erasure) {
  const std::scoped_lock lock(guard_);
  feedOf(game).forget(userId);
  if (erasures_ == erasure - 1) erasures_ = erasure;
}

void Hub::expectErased(std::int64_t last) {
  const std::scoped_lock lock(guard_);
  if (std::exchange(erasures_, last) == last) return;
  for (auto& [game, feed] : feeds_) feed.forgetAll();
}

std::shared_ptr<front::Stream> Hub::listen(Wish wish) {
  auto stream = std::make_shared<front::Stream>();
  stream->put(kBeginning);
  {
    const std::scoped_lock lock(guard_);
    const Feed& feed = feedOf(wish.game);
    const bool isBack = wish.behind && *wish.behind <= feed.last();
    const auto before = feed.after(isBack ? *wish.behind : 0, wish.interest, isBack ? pace_.behind : pace_.atFirst);
    const auto seen = before.empty() ? feed.last() : before.front()->number - 1;
    listeners_.push_back(
        {std::move(wish.game), std::move(wish.interest), stream, seen, before.size(), 0, Clock::now()});
  }
  changed_.notify_one();
  return stream;
}

// Nothing is locked while pieces are handed to the front.
void Hub::passOn() {
  std::unique_lock lock(guard_);
  while (!isEnding_) {
    try {
      const auto next = pieces(Clock::now());
      lock.unlock();
      for (const auto& [stream, text] : next) stream->put(text);
    } catch (const std::exception&) {  // out of memory: a piece is lost, what comes next is passed on
    }
    if (!lock.owns_lock()) lock.lock();
    if (isEnding_) return;
    if (listeners_.empty()) changed_.wait(lock, [&] { return isEnding_ || !listeners_.empty(); });
    else changed_.wait_for(lock, pace_.between, [&] { return isEnding_; });
  }
}

std::vector<Hub::Piece> Hub::pieces(Clock::time_point now) {
  std::vector<Piece> all;
  for (auto listener = listeners_.begin(); listener != listeners_.end();) {
    auto stream = listener->stream.lock();
    if (!stream) {  // the client has left
      listener = listeners_.erase(listener);
      continue;
    }
    auto text = nextFor(*listener, stream->room(), now);
    if (!text.empty()) all.emplace_back(std::move(stream), std::move(text));
    ++listener;
  }
  return all;
}

// What fits into the room, so that none of it is lost on the way.
std::string Hub::nextFor(Listener& listener, std::size_t room, Clock::time_point now) {
  constexpr std::size_t kCount = 64;  // bytes of the event that says how many were skipped
  auto waiting = feedOf(listener.game).after(listener.seen, listener.interest, pace_.behind);
  std::string text;
  const auto skipped = listener.came - listener.accounted - waiting.size();
  if (skipped > 0 && room > kCount && now - listener.countedSkipped >= pace_.betweenSkipped) {
    text = fmt::format("event: skipped\ndata: {{\"records\":{}}}\n\n", skipped);
    listener.accounted += skipped;
    listener.countedSkipped = now;
  }
  for (std::size_t at = 0; at < std::min(waiting.size(), pace_.ofPiece); ++at) {
    if (text.size() + waiting[at]->text.size() > room) break;
    text += waiting[at]->text;
    listener.seen = waiting[at]->number;
    ++listener.accounted;
  }
  if (text.empty() && room > kCount && now - listener.spoke >= pace_.silence) text = kComment;
  if (!text.empty()) listener.spoke = now;
  return text;
}

}  // namespace collector

#include "collector/live/Feed.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "collector/base/Json.h"

namespace collector {

namespace {

constexpr std::size_t kMostText = std::size_t{128} << 10U;  // it has to fit into what waits for a listener

constexpr std::string_view kTrouble = "sdk_error";

// White space between the values may hold line ends, which would end the event's line.
std::string onOneLine(std::string_view json) {
  std::string line(json);
  std::ranges::replace_if(
      line, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return line;
}

std::string recordEvent(std::uint64_t number, const Row& row, std::int64_t receivedAt) {
  const auto quoted = [&](Column column) { return quotedJson(textOf(row, column)); };
  const bool isWhole = row.record.size() <= Feed::kRecord;
  return fmt::format(
      "id: {}\nevent: record\ndata: {{\"received_at\":{},\"category\":{},\"user_id\":{},\"session_id\":{},"
      "\"platform\":{},\"build\":{},\"bytes\":{},\"record\":{}}}\n\n",
      number, receivedAt, quoted(Column::category), quoted(Column::userId), quoted(Column::sessionId),
      quoted(Column::platform), quoted(Column::build), row.record.size(), isWhole ? onOneLine(row.record) : "null");
}

std::string refusedEvent(std::uint64_t number, const Rejected& refused, std::int64_t index, std::int64_t receivedAt) {
  return fmt::format(
      "id: {}\nevent: refused\ndata: {{\"received_at\":{},\"index\":{},\"reasons\":{},\"record\":{}}}\n\n", number,
      receivedAt, index, refused.reasons, quotedJson(refused.record));
}

bool holds(std::string_view text, const std::string& id) {
  return id.empty() || text.find(quotedJson(id)) != std::string_view::npos;
}

std::size_t sizeOf(const Feed::Entry& entry) {
  return sizeof entry + entry.userId.size() + entry.sessionId.size() + entry.refused.size() + entry.text.size();
}

}  // namespace

Interest::Interest(std::string userId, std::string sessionId)
    : userId_(std::move(userId)), sessionId_(std::move(sessionId)) {}

bool Interest::fits(std::string_view userId, std::string_view sessionId) const {
  return (userId_.empty() || userId == userId_) && (sessionId_.empty() || sessionId == sessionId_);
}

bool Interest::fits(const Row& row) const { return fits(textOf(row, Column::userId), textOf(row, Column::sessionId)); }

bool Interest::fits(std::string_view refused) const { return holds(refused, userId_) && holds(refused, sessionId_); }

bool Feed::Allowance::take(Clock::time_point now) {
  const std::chrono::duration<double> passed = now - at_;
  left_ = std::min(kRate, left_ + passed.count() * kRate);
  at_ = now;
  if (left_ < 1) return false;
  --left_;
  return true;
}

// The latest of what came together are those that are kept.
void Feed::add(const Taken& taken, const std::vector<const Interest*>& wanted, Clock::time_point now) {
  std::vector<const Row*> rows;
  for (auto row = taken.rows.rbegin(); row != taken.rows.rend(); ++row) {
    if (allowanceFor(*row, wanted).take(now)) rows.push_back(&*row);
  }
  for (auto row = rows.rbegin(); row != rows.rend(); ++row)
    keep({++last_, std::string(textOf(**row, Column::userId)), std::string(textOf(**row, Column::sessionId)), "", false,
          recordEvent(last_, **row, taken.receivedAt)});
  for (const auto& each : taken.rejected)
    if (wrong_.take(now))
      keep({++last_, "", "", std::string(each.record), true,
            refusedEvent(last_, each, static_cast<std::int64_t>(each.position), taken.receivedAt)});
  if (!taken.problem.empty() && wrong_.take(now))
    keep({++last_, "", "", "", true,
          refusedEvent(last_, {0, fmt::format("[{}]", quotedJson(taken.problem)), {}}, -1, taken.receivedAt)});
}

Feed::Allowance& Feed::allowanceFor(const Row& row, const std::vector<const Interest*>& wanted) {
  if (std::ranges::any_of(wanted, [&](const Interest* interest) { return interest->fits(row); })) return particular_;
  return textOf(row, Column::category) == kTrouble ? wrong_ : any_;
}

void Feed::keep(Entry entry) {
  if (entry.text.size() > kMostText) return;
  bytes_ += sizeOf(entry);
  entries_.push_back(std::make_shared<const Entry>(std::move(entry)));
  for (; entries_.size() > kEntries || bytes_ > kBytes; entries_.pop_front()) bytes_ -= sizeOf(*entries_.front());
}

void Feed::forget(const std::string& userId) {
  const Interest ofPlayer(userId, "");
  std::erase_if(entries_, [&](const auto& entry) {
    const bool goes = fits(*entry, ofPlayer);
    if (goes) bytes_ -= sizeOf(*entry);
    return goes;
  });
}

void Feed::forgetAll() {
  entries_.clear();
  bytes_ = 0;
}

bool Feed::fits(const Entry& entry, const Interest& interest) {
  return entry.isRefused ? interest.fits(entry.refused) : interest.fits(entry.userId, entry.sessionId);
}

Feed::Entries Feed::after(std::uint64_t number, const Interest& interest, std::size_t most) const {
  Entries found;
  for (auto entry = entries_.rbegin(); entry != entries_.rend() && found.size() < most; ++entry) {
    if ((*entry)->number <= number) break;
    if (fits(**entry, interest)) found.push_back(*entry);
  }
  std::ranges::reverse(found);
  return found;
}

}  // namespace collector

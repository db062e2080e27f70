#include "crowd/Delivery.h"

#include <fmt/format.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "crowd/Codec.h"
#include "crowd/RecordText.h"

namespace crowd {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kFirstPause = std::chrono::milliseconds(200);
constexpr auto kLongestPause = std::chrono::milliseconds(8'000);
constexpr std::size_t kShownBytes = 200;

constexpr std::size_t kUsualRecord = 1'000;  // bytes

bool isSdkError(const Record& record) { return std::holds_alternative<SdkError>(record.what); }

// ["reason", ...] as one line.
std::string joined(const rapidjson::Value& row) {
  std::string text;
  const auto reasons = row.FindMember("reasons");
  if (reasons == row.MemberEnd() || !reasons->value.IsArray()) return text;
  for (const auto& reason : reasons->value.GetArray())
    if (reason.IsString()) text += (text.empty() ? "" : "; ") + std::string(reason.GetString());
  return text;
}

}  // namespace

// Reports of the library's own troubles go alone and plain.
Package packed(const Record* first, std::size_t count, const GameKeys& game) {
  std::string text;
  text.reserve(count * kUsualRecord);
  for (const auto* record = first; record != first + count; ++record) {
    text += record == first ? '[' : ',';
    append(text, *record);
  }
  text += ']';
  const bool plain = isSdkError(*first);
  auto body = plain ? std::move(text) : gzip(text);
  auto authorization = signature(body, game.secret);
  return {std::move(body), std::move(authorization), count, !plain};
}

std::optional<InitAnswer> Delivery::init(std::string target, std::string_view body) {
  const auto zipped = gzip(body);
  const auto answer = insist({std::move(target), zipped, signature(zipped, target_.game.secret), true});
  if (!answer) return std::nullopt;
  ++run_.counters.inits;
  auto read = readInitAnswer(answer->status, answer->body);
  if (!read)
    run_.fail(fmt::format("an init call was answered {}: {}", answer->status, answer->body.substr(0, kShownBytes)));
  return read;
}

bool Delivery::send(Records records, Truth& truth) {
  std::stable_sort(records.begin(), records.end(), [](const Record& one, const Record& other) {
    return std::pair(!isSdkError(one), one.time) < std::pair(!isSdkError(other), other.time);
  });
  for (std::size_t at = 0; at < records.size();) {
    const auto count = isSdkError(records[at]) ? 1 : std::min(kMostRecords, records.size() - at);
    const auto refused = deliver(packed(&records[at], count, target_.game));
    if (!refused) {
      run_.counters.unacknowledged += static_cast<std::int64_t>(records.size() - at - count);
      return false;
    }
    for (std::size_t each = 0; each < count; ++each)
      if (std::find(refused->begin(), refused->end(), each) == refused->end()) truth.count(records[at + each]);
    at += count;
  }
  return !run_.failed();
}

bool Delivery::send(const Package& package) {
  const auto refused = deliver(package);
  return refused && refused->empty();
}

std::optional<std::vector<std::size_t>> Delivery::deliver(const Package& package) {
  const auto answer = insist({eventsTarget(), package.body, package.authorization, package.gzipped});
  if (!answer) {
    run_.counters.unacknowledged += static_cast<std::int64_t>(package.records);
    return std::nullopt;
  }
  auto refused = answer->status == 200 ? std::vector<std::size_t>() : readRefused(*answer, package.records);
  run_.counters.refused += static_cast<std::int64_t>(refused.size());
  run_.counters.events += static_cast<std::int64_t>(package.records - refused.size());
  run_.counters.bytes += static_cast<std::int64_t>(package.body.size());
  return refused;
}

// A kept connection may have been closed meanwhile, so the first repetition doesn't wait.
std::optional<Answer> Delivery::insist(const Request& request) {
  auto pause = std::chrono::milliseconds::zero();
  while (!hopeless_) {
    if (auto answer = client_.post(request)) {
      answered_ = Clock::now();
      ++run_.counters.requests;
      return answer;
    }
    const auto now = Clock::now();
    if (!run_.stopping() && now - answered_ > target_.patience)
      run_.fail(fmt::format("no answer for {} s; the last cause: {}", target_.patience.count(), client_.failure()));
    hopeless_ = run_.stopping();
    if (hopeless_) break;
    ++run_.counters.repeated;
    run_.waitUntil(now + pause);
    pause = std::clamp(2 * pause, kFirstPause, kLongestPause);
  }
  return std::nullopt;
}

// What was refused ends the run, and so does an answer that no collector may give: a library deletes the batch for it.
std::vector<std::size_t> Delivery::readRefused(const Answer& answer, std::size_t records) {
  std::vector<std::size_t> refused;
  rapidjson::Document rows;
  rows.Parse(answer.body.data(), answer.body.size());
  if (answer.status == 400 && !rows.HasParseError() && rows.IsArray()) {
    for (const auto& row : rows.GetArray()) {
      if (!row.IsObject() || !row.HasMember("index") || !row["index"].IsUint()) continue;
      refused.push_back(row["index"].GetUint());
      run_.fail(fmt::format("a record was refused: {}", joined(row)));
    }
  }
  if (!refused.empty()) return refused;
  run_.fail(fmt::format("a batch of {} records was answered {}: {}", records, answer.status,
                        answer.body.substr(0, kShownBytes)));
  for (std::size_t each = 0; each < records; ++each) refused.push_back(each);
  return refused;
}

}  // namespace crowd

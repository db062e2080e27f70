#include "collector/Collector.h"

#include <fmt/format.h>

#include <charconv>
#include <ctime>
#include <optional>

#include "collector/Inflate.h"
#include "collector/RecordRules.h"
#include "collector/Signature.h"
#include "collector/Text.h"
#include "collector/Views.h"

namespace collector {

namespace {

constexpr std::int64_t kDefaultListed = 100;
constexpr std::int64_t kMaxListed = 1000;

Answer refusal(int status, std::string_view reason) { return {status, reasonsView({std::string(reason)})}; }

// Absent when `text` is no whole number from `min` to `max`; `fallback` for an empty one.
std::optional<std::int64_t> wholeNumber(std::string_view text, std::int64_t fallback, std::int64_t min,
                                        std::int64_t max) {
  if (text.empty()) return fallback;
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < min || number > max) return std::nullopt;
  return number;
}

Reasons faultsOfInitQuery(const Call& call) {
  Reasons reasons;
  if (queryValue(call.target, "interval_seconds") != "0") reasons.emplace_back("interval_seconds: is not 0");
  if (!hasQueryValue(call.target, "configs_hash")) reasons.emplace_back("configs_hash: is missing");
  if (call.contentEncoding != "gzip") reasons.emplace_back("the body of an init call is not compressed");
  if (call.contentType != "application/json") reasons.emplace_back("Content-Type: is not application/json");
  return reasons;
}

std::optional<std::int64_t> integerMember(const JsonValue& object, std::string_view name) {
  const auto* const value = findMember(object, name);
  if (value == nullptr || !value->IsInt64()) return std::nullopt;
  return value->GetInt64();
}

Exchange::Taken taken(const JsonValue& record, std::string_view text) {
  return {textMember(record, "category"),
          textMember(record, "event_uuid"),
          textMember(record, "session_id"),
          textMember(record, "user_id"),
          text,
          integerMember(record, "client_ts")};
}

// A hash stands in the URL as it is, but some clients encode it.
bool isHash(std::string_view sent, std::string_view hash) { return sent == hash || percentDecoded(sent) == hash; }

}  // namespace

struct Collector::Content {
  std::string inflated;
  ParsedJson json;
};

Collector::Collector(Games games, Configs configs, Archive& archive)
    : games_(std::move(games)), configs_(std::move(configs)), archive_(archive) {}

Answer Collector::takeInit(const Call& call) {
  const std::scoped_lock lock(work_);
  Exchange exchange;
  Content content;
  if (auto answer = open(call, exchange, content); answer.status != 0) return kept(exchange, std::move(answer));

  auto reasons = faultsOfInitQuery(call);
  for (auto& fault : faultsOfInitBody(content.json.document)) reasons.push_back(std::move(fault));
  if (!reasons.empty()) return kept(exchange, {400, reasonsView(reasons)});
  const auto body = jsonText(content.json.document);
  exchange.initBody = body;
  return kept(exchange, initAnswer(call));
}

Answer Collector::takeEvents(const Call& call) {
  const std::scoped_lock lock(work_);
  Exchange exchange;
  Content content;
  if (auto answer = open(call, exchange, content); answer.status != 0) return kept(exchange, std::move(answer));
  if (!content.json.document.IsArray()) return kept(exchange, refusal(400, "the body is not a list of records"));

  std::size_t index = 0;
  for (const auto& record : content.json.document.GetArray()) {
    const auto text = content.json.elements[index];
    if (const auto faults = faultsOfRecord(record); faults.empty()) exchange.taken.push_back(taken(record, text));
    else exchange.rejected.push_back({index, reasonsList(faults), text});
    ++index;
  }
  return kept(exchange, {exchange.rejected.empty() ? 200 : 400, rejectedView(exchange.rejected)});
}

Answer Collector::refuse(const Call& call, int status, std::string_view reason) {
  Exchange exchange;
  exchange.kind = call.kind;
  exchange.gameKey = call.gameKey;
  exchange.bytes = call.body.size();
  if (status == 401) exchange.signatureGood = false;
  return kept(exchange, refusal(status, reason));
}

// Fills in what is known of the call and reads its body. An answer with a status ends the matter.
Answer Collector::open(const Call& call, Exchange& exchange, Content& content) {
  exchange.kind = call.kind;
  exchange.gameKey = call.gameKey;
  exchange.bytes = call.body.size();
  const auto game = games_.find(call.gameKey);
  exchange.signatureGood = game != games_.end() && isSignedWith(game->second, call.body, call.authorization);
  if (!*exchange.signatureGood) return refusal(401, "the signature is wrong");

  exchange.compressed = call.contentEncoding == "gzip";
  if (!exchange.compressed && !call.contentEncoding.empty()) return refusal(400, "Content-Encoding: is not gzip");
  if (exchange.compressed) {
    const auto outcome = inflateGzip(call.body, kMaxInflated, content.inflated);
    if (outcome == InflateOutcome::tooLarge) return refusal(413, "the inflated body is too large");
    if (outcome == InflateOutcome::damaged) return refusal(400, "the body is not one gzip member");
  }
  const std::string_view text = exchange.compressed ? content.inflated : call.body;
  exchange.inflated = text.size();
  content.json = parseJson(text);
  return content.json.failure.empty() ? Answer{} : refusal(400, content.json.failure);
}

// An answer of success would let the game forget what could not be kept.
Answer Collector::kept(Exchange& exchange, Answer answer) {
  exchange.status = answer.status;
  return archive_.keep(exchange) ? std::move(answer) : refusal(500, "the archive can't be written");
}

Answer Collector::initAnswer(const Call& call) const {
  const auto now = static_cast<std::int64_t>(std::time(nullptr));
  const auto* const configs = configs_.find(call.gameKey);
  if (configs == nullptr || isHash(queryValue(call.target, "configs_hash"), configs->hash))
    return {200, fmt::format(R"({{"server_ts":{}}})", now)};
  return {201, fmt::format(R"({{"server_ts":{},{}}})", now, configs->members)};
}

Answer Collector::summary() {
  const auto summary = archive_.summary();
  return summary ? Answer{200, summaryView(*summary)} : refusal(500, "the archive can't be read");
}

Answer Collector::events(std::string_view after, std::string_view limit) {
  const auto first = wholeNumber(after, 0, 0, INT64_MAX);
  const auto count = wholeNumber(limit, kDefaultListed, 1, kMaxListed);
  if (!first) return refusal(400, "after: is not the id of an event");
  if (!count) return refusal(400, "limit: is not a number from 1 to 1000");
  const auto events = archive_.eventsAfter(*first, *count);
  return events ? Answer{200, eventsView(*events)} : refusal(500, "the archive can't be read");
}

}  // namespace collector

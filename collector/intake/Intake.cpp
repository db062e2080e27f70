#include "collector/intake/Intake.h"

#include <utility>

#include "collector/base/Inflate.h"
#include "collector/base/Json.h"
#include "collector/base/Signature.h"
#include "collector/base/Text.h"
#include "collector/intake/Answers.h"
#include "collector/records/Rules.h"

namespace collector {

namespace {

constexpr std::size_t kShownRecord = std::size_t{4} << 10U;

Intake::Outcome refusal(int status, const std::string& reason) { return {status, reasonsView({reason}), nullptr}; }

// The body can't be used as a whole: what was read of it is given up, and the reason is kept.
void refuseWhole(Intake::Outcome& outcome, const Reasons& reasons) {
  auto& content = *outcome.content;
  content.rows.clear();
  content.rejected.clear();
  content.notes.clear();
  content.rejectedCount = 0;
  content.problem = reasons.front();
  outcome.status = 400;
  outcome.json = reasonsView(reasons);
}

void addNotes(const std::vector<std::string>& notes, Content& content) {
  for (const auto& note : notes) {
    const auto known = content.notes.find(note);
    if (known != content.notes.end()) ++known->second;
    else if (content.notes.size() < Content::kMaxNotes) content.notes.emplace(note, 1);
  }
}

// What comes behind the first hundred that are refused needs no words: a body may hold millions.
void takeRecord(const JsonValue& record, std::string_view text, std::size_t index, Content& content) {
  Findings findings;
  findings.inWords = content.rejected.size() < Content::kMaxRejected;
  const auto members = readRecord(record, text.size(), findings);
  addNotes(findings.notes, content);
  if (findings.good) {
    content.rows.push_back(rowOf(members, text, content.texts));
    return;
  }
  ++content.rejectedCount;
  if (findings.inWords)
    content.rejected.push_back({index, reasonsList(findings.reasons), prefixOf(text, kShownRecord)});
}

Reasons faultsOfInitRequest(const Call& call) {
  Reasons reasons;
  if (queryValue(call.target, "interval_seconds") != "0") reasons.emplace_back("interval_seconds: is not 0");
  if (!hasQueryValue(call.target, "configs_hash")) reasons.emplace_back("configs_hash: is missing");
  if (call.contentEncoding != "gzip") reasons.emplace_back("the body of an init call is not compressed");
  if (call.contentType != "application/json") reasons.emplace_back("Content-Type: is not application/json");
  return reasons;
}

}  // namespace

// What costs least comes first. The outcome has no status yet when the body can be looked at.
Intake::Outcome Intake::open(Call& call, std::int64_t now) const {
  if (call.body.size() > kMaxSent) return refusal(413, "the body is too large");
  const auto secret = secretOf_(call.gameKey);
  if (!secret || !isSignedWith(*secret, call.body, call.authorization)) return refusal(401, "the signature is wrong");

  const auto bytes = call.body.size();
  const bool compressed = call.contentEncoding == "gzip";
  auto inflating = InflateOutcome::ok;
  if (compressed) {
    std::string text;
    inflating = inflateGzip(call.body, kMaxInflated, text);
    if (inflating == InflateOutcome::tooLarge) return refusal(413, "the inflated body is too large");
    call.body = std::move(text);
  }
  Outcome outcome;
  outcome.content = std::make_shared<Content>(std::move(call.body));
  outcome.content->game = call.gameKey;
  outcome.content->receivedAt = now;
  outcome.content->bytes = bytes;
  if (!compressed && !call.contentEncoding.empty()) refuseWhole(outcome, {"Content-Encoding: is not gzip"});
  else if (inflating == InflateOutcome::damaged) refuseWhole(outcome, {"the body is not one gzip member"});
  return outcome;
}

Intake::Outcome Intake::takeEvents(Call call, std::int64_t now) const {
  auto outcome = open(call, now);
  if (outcome.status != 0) return outcome;
  auto& content = *outcome.content;
  std::size_t index = 0;
  const auto failure = forEachElement(content.text, [&](const JsonValue& record, std::string_view text) {
    takeRecord(record, text, index++, content);
  });
  if (!failure.empty()) {
    refuseWhole(outcome, {failure});
    return outcome;
  }
  outcome.status = content.rejectedCount == 0 ? 200 : 400;
  outcome.json = rejectedView(content.rejected);
  return outcome;
}

Intake::Outcome Intake::takeInit(Call call, std::int64_t now) const {
  auto outcome = open(call, now);
  if (outcome.status != 0) return outcome;
  auto& content = *outcome.content;
  const auto parsed = parseJson(content.text);
  if (!parsed.failure.empty()) {
    refuseWhole(outcome, {parsed.failure});
    return outcome;
  }
  Findings findings;
  findings.reasons = faultsOfInitRequest(call);
  findings.good = findings.reasons.empty();
  const auto members = readInitBody(parsed.document, findings);
  addNotes(findings.notes, content);
  if (!findings.good) {
    refuseWhole(outcome, findings.reasons);
    return outcome;
  }
  content.rows.push_back(rowOf(members, content.text, content.texts));
  outcome.status = 200;
  return outcome;
}

}  // namespace collector

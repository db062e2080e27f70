#include "collector/visits/Line.h"

#include <fmt/format.h>

#include "collector/base/Json.h"
#include "collector/base/Text.h"
#include "collector/base/Time.h"

namespace collector {

namespace {

constexpr std::size_t kMostShown = 200;  // bytes

double milliseconds(std::chrono::microseconds time) { return static_cast<double>(time.count()) / 1000; }

std::string textLine(const Entry& entry) {
  const Account& account = entry.account;
  auto line = fmt::format("{} {} {} {} {} game={} received={} inflated={} taken={} refused={} sent={} ms={:.1f}",
                          utcText(entry.at), entry.address, shown(entry.method), shown(entry.path), entry.status,
                          entry.game.empty() ? "-" : entry.game, entry.received, account.inflated, account.taken,
                          account.refusedRecords, entry.sent, milliseconds(entry.took));
  if (!entry.ending.empty()) line += fmt::format(" {}={}", entry.status == 0 ? "unanswered" : "ended", entry.ending);
  if (!account.refusal.empty()) line += fmt::format(" why=\"{}\"", printable(account.refusal));
  return line;
}

std::string jsonLine(const Entry& entry) {
  const Account& account = entry.account;
  auto line = fmt::format(
      R"({{"time":"{}","address":"{}","method":{},"path":{},"status":{},"received":{},"inflated":{},"taken":{},)"
      R"("refused":{},"sent":{},"ms":{:.1f})",
      utcText(entry.at), entry.address, quotedJson(shown(entry.method)), quotedJson(shown(entry.path)), entry.status,
      entry.received, account.inflated, account.taken, account.refusedRecords, entry.sent, milliseconds(entry.took));
  if (!entry.game.empty()) line += fmt::format(R"(,"game":{})", quotedJson(entry.game));
  if (!entry.ending.empty())
    line += fmt::format(R"(,"{}":"{}")", entry.status == 0 ? "unanswered" : "ended", entry.ending);
  if (!account.refusal.empty()) line += fmt::format(R"(,"why":{})", quotedJson(printable(account.refusal)));
  return line + '}';
}

}  // namespace

std::string lineOf(const Entry& entry, Log::Form form) {
  return form == Log::Form::json ? jsonLine(entry) : textLine(entry);
}

std::string shown(std::string_view text) {
  std::string readable = printable(text.substr(0, kMostShown));
  for (char& each : readable)
    if (each == ' ') each = '?';  // so that a line of text has its fields where they belong
  return readable;
}

}  // namespace collector

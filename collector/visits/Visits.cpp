#include "collector/visits/Visits.h"

#include <algorithm>
#include <any>
#include <iterator>
#include <utility>

#include "collector/front/Address.h"
#include "collector/front/Tally.h"
#include "collector/visits/Account.h"
#include "collector/visits/Line.h"

namespace collector {

namespace {

constexpr int kFirstRefusal = 400;
constexpr std::size_t kMostOfReason = 200;

// Why the collector didn't take the request; "" when it did, or the client left by itself.
std::string reasonOf(const front::Visit& visit, const Account& account) {
  if (!account.refusal.empty()) return account.refusal.substr(0, kMostOfReason);
  if (visit.status == 0)
    return std::ranges::find(front::kEndingNames, visit.ending) != front::kEndingNames.end() ? std::string(visit.ending)
                                                                                             : "";
  if (visit.status < kFirstRefusal || account.taken + account.refusedRecords > 0) return "";
  return visit.status == 413 ? "the body is too large" : "refused";
}

}  // namespace

void Visits::note(const front::Visit& visit) {
  const auto* const given = std::any_cast<Account>(&visit.account);
  Entry entry{
      std::chrono::system_clock::now(),
      settings_.wholeAddresses ? std::string(visit.address) : front::shortenedAddress(std::string(visit.address)),
      visit.method,
      visit.target.substr(0, visit.target.find('?')),
      {},
      visit.status,
      visit.ending,
      visit.received,
      visit.sent,
      visit.took,
      given != nullptr ? *given : Account()};
  const std::string game = settings_.gameOf(visit);
  entry.game = game;
  count(visit, !game.empty());
  if (auto reason = reasonOf(visit, entry.account); !reason.empty())
    refused_.add({std::chrono::system_clock::to_time_t(entry.at), entry.address, shown(entry.method), shown(entry.path),
                  game, visit.status, std::move(reason)});
  if (!settings_.isQuiet) log_.writeLine(lineOf(entry, log_.form()));
}

void Visits::count(const front::Visit& visit, bool isOfGame) {
  ++numbers_.byClass[std::min<std::size_t>(static_cast<std::size_t>(visit.status) / 100, 5)];
  if (!isOfGame || visit.status == 0) return;
  const auto bucket =
      std::ranges::find_if(Numbers::kBuckets, [&](int most) { return visit.took <= std::chrono::milliseconds(most); });
  ++numbers_.took[static_cast<std::size_t>(std::distance(Numbers::kBuckets.begin(), bucket))];
  numbers_.microseconds += visit.took.count();
}

}  // namespace collector

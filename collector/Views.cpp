#include "collector/Views.h"

#include <fmt/format.h>

namespace collector {

namespace {

// "[a,b]" or "{a,b}" of what `view` makes of each item.
template <class Items, class View>
std::string joined(char open, const Items& items, char close, View view) {
  std::string text(1, open);
  for (const auto& item : items) {
    if (text.size() > 1) text += ',';
    text += view(item);
  }
  return text + close;
}

std::string gameView(const ArchiveSummary::Game& game) {
  return fmt::format(R"({{"requests":{},"inits":{},"events":{},"rejected":{}}})", game.requests, game.inits,
                     game.events, game.rejected);
}

}  // namespace

std::string quoted(std::string_view text) {
  return jsonText(JsonValue(rapidjson::StringRef(text.data(), static_cast<rapidjson::SizeType>(text.size()))));
}

std::string reasonsList(const Reasons& reasons) { return joined('[', reasons, ']', quoted); }

std::string reasonsView(const Reasons& reasons) { return fmt::format(R"({{"reasons":{}}})", reasonsList(reasons)); }

std::string rejectedView(const std::vector<Exchange::Rejected>& rejected) {
  return joined('[', rejected, ']', [](const Exchange::Rejected& each) {
    return fmt::format(R"({{"index":{},"reasons":{}}})", each.index, each.reasons);
  });
}

std::string summaryView(const ArchiveSummary& summary) {
  const auto categories = joined('{', summary.categories, '}', [](const auto& each) {
    return fmt::format("{}:{}", quoted(each.first), each.second);
  });
  const auto games = joined('{', summary.games, '}', [](const auto& each) {
    return fmt::format("{}:{}", quoted(each.first), gameView(each.second));
  });
  return fmt::format(
      R"({{"requests":{},"inits":{},"events":{},"rejected":{},"duplicates":{},"signatures":{{"good":{},"bad":{}}},)"
      R"("bytes":{{"sent":{},"inflated":{}}},"categories":{},"games":{}}})",
      summary.requests, summary.inits, summary.events, summary.rejected, summary.duplicates, summary.goodSignatures,
      summary.badSignatures, summary.bytesSent, summary.bytesInflated, categories, games);
}

std::string eventsView(const std::vector<ArchivedEvent>& events) {
  return joined('[', events, ']', [](const ArchivedEvent& event) {
    return fmt::format(R"({{"id":{},"received_at":{},"game_key":{},"category":{},"record":{}}})", event.id,
                       event.receivedAt, quoted(event.gameKey), quoted(event.category), event.record);
  });
}

}  // namespace collector

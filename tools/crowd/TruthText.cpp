#include "crowd/TruthText.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "crowd/World.h"

namespace crowd {

namespace {

class Writer {
 public:
  template <class Body>
  void object(Body body) {
    json_.StartObject();
    body();
    json_.EndObject();
  }
  template <class Body>
  void object(std::string_view name, Body body) {
    key(name);
    object(body);
  }
  template <class Items, class Body>
  void list(std::string_view name, const Items& items, Body body) {
    key(name);
    json_.StartArray();
    for (const auto& item : items) body(item);
    json_.EndArray();
  }
  void key(std::string_view name) { json_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }
  void text(std::string_view name, std::string_view value) {
    key(name);
    json_.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  }
  void number(std::string_view name, std::int64_t value) {
    key(name);
    json_.Int64(value);
  }
  void count(std::string_view name, const Distinct& distinct) {
    number(name, static_cast<std::int64_t>(distinct.count()));
  }
  void element(std::int64_t value) { json_.Int64(value); }
  void flag(std::string_view name, bool value) {
    key(name);
    json_.Bool(value);
  }
  // An exact sum of units, each a power of two.
  void units(std::string_view name, std::int64_t units, double unit) {
    key(name);
    const auto text = fmt::format("{}", static_cast<double>(units) * unit);
    json_.RawValue(text.data(), text.size(), rapidjson::kNumberType);
  }
  [[nodiscard]] std::string finished() const { return std::string(buffer_.GetString(), buffer_.GetSize()) + '\n'; }

 private:
  rapidjson::StringBuffer buffer_;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> json_{buffer_};
};

void writeSum(Writer& out, std::string_view name, const Sum& sum) {
  out.object(name, [&] {
    out.number("count", sum.count);
    out.number("amount", sum.amount);
  });
}

void writeFlow(Writer& out, std::string_view name, const Flow& flow) {
  out.object(name, [&] {
    writeSum(out, "source", flow.source);
    writeSum(out, "sink", flow.sink);
  });
}

void writeImpressions(Writer& out, std::string_view name, const Sum& sum) {
  out.object(name, [&] {
    out.number("count", sum.count);
    out.units("revenue", sum.amount, kRevenueUnit);
  });
}

void writeMembers(Writer& out, const Slice& slice) {
  out.count("players", slice.players);
  out.count("payers", slice.payers);
  out.number("new", slice.newPlayers);
  out.number("events", slice.events);
  out.number("sessions", slice.sessions);
  out.number("ended", slice.lengths.count);
  out.number("seconds", slice.lengths.amount);
  out.number("starts", slice.starts);
  out.number("completes", slice.completes);
  out.number("fails", slice.fails);
  out.number("errors", slice.errors);
  out.number("crashes", slice.crashes);
  out.number("ads_shown", slice.adsShown);
  writeImpressions(out, "impressions", slice.impressions);
  out.object("revenue", [&] {
    for (const auto& [currency, sum] : slice.revenue) writeSum(out, currency, sum);
  });
  out.object("economy", [&] {
    for (const auto& [currency, flow] : slice.economy) writeFlow(out, currency, flow);
  });
}

void writeSlice(Writer& out, std::string_view name, const Slice& slice) {
  out.object(name, [&] { writeMembers(out, slice); });
}

void writeSlices(Writer& out, std::string_view name, const std::map<std::string, Slice>& slices) {
  out.object(name, [&] {
    for (const auto& [key, slice] : slices) writeSlice(out, key, slice);
  });
}

// The maps of pairs as objects in objects.
template <class Value, class Body>
void writePairs(Writer& out, std::string_view name, const std::map<Truth::Pair, Value>& pairs, Body body) {
  out.object(name, [&] {
    for (auto at = pairs.begin(); at != pairs.end();) {
      const auto& group = at->first.first;
      out.object(group, [&] {
        for (; at != pairs.end() && at->first.first == group; ++at) body(at->first.second, at->second);
      });
    }
  });
}

void writeCounts(Writer& out, std::string_view name, const std::map<std::string, std::int64_t>& counts) {
  out.object(name, [&] {
    for (const auto& [key, count] : counts) out.number(key, count);
  });
}

// Of those of each day's new players whom `isIn` takes, how many came on which later day.
template <class IsIn>
void writeCohorts(Writer& out, std::string_view name, const Truth& truth, IsIn isIn) {
  std::map<std::int64_t, std::vector<std::int64_t>> returned;
  for (const auto& [day, slice] : truth.days) {
    for (const auto player : slice.players.sorted()) {
      const auto installed = truth.installed.find(player);
      if (installed == truth.installed.end() || installed->second > day || !isIn(player, installed->second)) continue;
      auto& days = returned[installed->second];
      days.resize(std::max(days.size(), static_cast<std::size_t>(day - installed->second) + 1));
      ++days.back();
    }
  }
  out.object(name, [&] {
    for (const auto& [day, days] : returned)
      out.list(dateOf(day), days, [&](std::int64_t count) { out.element(count); });
  });
}

// The same of those who had the build on their first day.
void writeCohortsOfBuilds(Writer& out, const Truth& truth) {
  std::map<std::pair<std::string, std::int64_t>, std::vector<std::uint32_t>> players;
  for (const auto& [key, distinct] : truth.buildDays) players[key] = distinct.sorted();
  out.object("returned_of_builds", [&] {
    for (const auto& [build, slice] : truth.builds)
      writeCohorts(out, build, truth, [&, &build = build](std::uint32_t player, std::int64_t day) {
        const auto& there = players[{build, day}];
        return std::binary_search(there.begin(), there.end(), player);
      });
  });
}

void writeLevels(Writer& out, const Truth& truth) {
  out.object("levels", [&] {
    for (const auto& [path, level] : truth.levels) {
      out.object(path, [&, &level = level] {
        out.number("starts", level.starts);
        out.number("completes", level.completes);
        out.number("fails", level.fails);
        out.number("attempts", level.attempts.amount);
        writeSum(out, "scores", level.scores);
        out.count("players_started", level.starters);
        out.count("players_completed", level.completers);
      });
    }
  });
}

// Of the players who played levels: where they ended without or with its completion, and how long tries took.
void writeProgress(Writer& out, const Truth& truth) {
  std::map<std::string, std::int64_t> stopped, left;
  std::map<std::string, Sum> tries;
  for (const auto& [player, life] : truth.lives) {
    std::pair<std::int64_t, bool> last;
    auto levels = life.levels;
    for (auto& [path, reports] : levels) {
      std::sort(reports.begin(), reports.end(),
                [](const Reached& one, const Reached& other) { return one.order() < other.order(); });
      last = std::max(last, reports.back().order());
      std::optional<std::int64_t> begun;
      for (const auto& [time, status] : reports) {
        if (status != Status::start && begun) tries[path].add(time - *begun);
        begun = status == Status::start ? std::optional(time) : std::nullopt;
      }
    }
    for (const auto& [path, reports] : levels) {
      const bool isCompleted = std::any_of(reports.begin(), reports.end(),
                                           [](const Reached& each) { return each.status == Status::complete; });
      if (reports.back().order() == last) ++(isCompleted ? left : stopped)[path];
    }
  }
  writeCounts(out, "stopped", stopped);
  writeCounts(out, "left", left);
  out.object("tries", [&] {
    for (const auto& [path, sum] : tries) writeSum(out, path, sum);
  });
}

// How many days after their installation players first bought something, and how many did.
void writeFirstPurchases(Writer& out, const Truth& truth) {
  std::map<std::int64_t, std::int64_t> players;
  for (const auto& [player, life] : truth.lives)
    if (const auto installed = truth.installed.find(player); life.bought && installed != truth.installed.end())
      ++players[*life.bought - installed->second];
  out.object("first_purchases", [&] {
    for (const auto& [later, count] : players) out.number(fmt::format("{}", later), count);
  });
}

// By group and currency, what each payer paid: squared and added up.
void writeSquares(Writer& out, const Truth& truth) {
  std::map<Truth::Pair, std::int64_t> squares;
  for (const auto& [player, life] : truth.lives)
    for (const auto& [key, paid] : life.paid) squares[key] += paid * paid;
  writePairs(out, "amount_squares", squares,
             [&](const std::string& currency, std::int64_t sum) { out.number(currency, sum); });
}

// By group, what each player did: squared and added up.
void writeSquaresOfActivity(Writer& out, const Truth& truth) {
  struct Squares {
    std::int64_t sessions = 0, ended = 0, seconds = 0, endedBySeconds = 0;
  };
  std::map<std::string, Squares> groups;
  for (const auto& [player, life] : truth.lives) {
    for (const auto& [group, did] : life.groups) {
      Squares& squares = groups[group];
      squares.sessions += did.sessions * did.sessions;
      squares.ended += did.ended * did.ended;
      squares.seconds += did.seconds * did.seconds;
      squares.endedBySeconds += did.ended * did.seconds;
    }
  }
  out.object("activity_squares", [&] {
    for (const auto& [group, squares] : groups) {
      out.object(group, [&, &squares = squares] {
        out.number("sessions", squares.sessions);
        out.number("ended", squares.ended);
        out.number("seconds", squares.seconds);
        out.number("ended_by_seconds", squares.endedBySeconds);
      });
    }
  });
}

void writeHours(Writer& out, const Truth& truth) {
  constexpr std::int64_t kHoursADay = 24;
  out.list("hours", truth.hours, [&](const auto& hour) {
    out.object([&] {
      out.text("day", dateOf(hour.first / kHoursADay));
      out.number("hour", hour.first % kHoursADay);
      out.count("players", hour.second.players);
      out.number("sessions", hour.second.sessions);
      out.number("events", hour.second.events);
    });
  });
}

void writeDesigns(Writer& out, const Truth& truth) {
  out.object("designs", [&] {
    for (const auto& [id, counted] : truth.designs) {
      out.object(id, [&, &counted = counted] {
        out.number("count", counted.first);
        out.number("values", counted.second.count);
        out.units("sum", counted.second.amount, kValueUnit);
      });
    }
  });
}

void writeErrors(Writer& out, const Truth& truth) {
  out.list("errors", truth.errors, [&](const auto& error) {
    out.object([&] {
      out.text("severity", error.first.first);
      out.text("message", error.first.second);
      out.number("count", error.second.count);
      out.count("players", error.second.players);
    });
  });
}

void writeAds(Writer& out, const Truth& truth) {
  writePairs(out, "ads", truth.ads, [&](const std::string& type, const AdTruth& ad) {
    out.object(type, [&] {
      writeCounts(out, "actions", ad.actions);
      writeCounts(out, "failures", ad.failures);
      writeSum(out, "milliseconds", ad.milliseconds);
    });
  });
  out.object("impressions", [&] {
    for (const auto& [network, sum] : truth.impressions) writeImpressions(out, network, sum);
  });
}

}  // namespace

std::string dateOf(std::int64_t day) {
  return fmt::format("{:%Y-%m-%d}", fmt::gmtime(static_cast<std::time_t>(day * kDaySeconds)));
}

std::string truthText(const Truth& truth, const RunFacts& facts) {
  Writer out;
  out.object([&] {
    out.text("game", facts.gameKey);
    out.text("seed", fmt::format("{}", facts.seed));  // beyond what a double holds
    out.number("from", facts.period.from);
    out.number("until", facts.period.until);
    out.flag("complete", facts.complete);
    out.number("unacknowledged", facts.unacknowledged);
    writeCounts(out, "categories", truth.categories);
    writeSlice(out, "all", truth.all);
    out.object("days", [&] {
      for (const auto& [day, slice] : truth.days) writeSlice(out, dateOf(day), slice);
    });
    writeCohorts(out, "returned", truth, [](std::uint32_t, std::int64_t) { return true; });
    writeCohortsOfBuilds(out, truth);
    writeSlices(out, "builds", truth.builds);
    writeSlices(out, "platforms", truth.platforms);
    writeSlices(out, "groups", truth.groups);
    writePairs(out, "dimensions", truth.dimensions,
               [&](const std::string& value, const Slice& slice) { writeSlice(out, value, slice); });
    writeLevels(out, truth);
    writeProgress(out, truth);
    writeFirstPurchases(out, truth);
    writeSquares(out, truth);
    writeSquaresOfActivity(out, truth);
    writeHours(out, truth);
    writePairs(out, "items", truth.items, [&](const std::string& id, const Sum& sum) { writeSum(out, id, sum); });
    writePairs(out, "goods", truth.goods, [&](const std::string& id, const Flow& flow) { writeFlow(out, id, flow); });
    writeDesigns(out, truth);
    writeErrors(out, truth);
    writeAds(out, truth);
    writeCounts(out, "sdk_errors", truth.sdkErrors);
  });
  return out.finished();
}

}  // namespace crowd

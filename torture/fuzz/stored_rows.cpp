// Files of an earlier run, whatever stands in their rows: the library reads them, begins a session, sends what can be
// sent, and loses no new event.
#include <zorvane/Zorvane.h>

#include "Library.h"
#include "collector/base/Inflate.h"
#include "collector/base/Json.h"

using fuzz::Library;

namespace {

constexpr std::size_t kMaxInflated = std::size_t{64} << 20U;

// A record as the library writes it, with a field or two that are not.
std::string recordOf(fuzz::Input& input) {
  if (input.flag()) return input.text();
  std::string record = R"({"v":2,"user_id":"u","event_uuid":"0a1b2c3d-0000-4000-8000-00000000000f","session_num":1)";
  for (unsigned left = input.byte() % 4; left > 0; --left) {
    record += input.oneOf({R"(,"client_ts":)", R"(,"category":)", R"(,"length":)", R"(,"session_id":)", R"(,"v":)"});
    switch (input.byte() % 4) {
      case 0: record += std::to_string(input.whole()); break;
      case 1: record += input.oneOf({"1700000000", "-1", "1e400", "null", "[]", "{}", "0.5", "true"}); break;
      default: record += '"' + input.text() + '"';
    }
  }
  return record + '}';
}

std::string numberOf(fuzz::Input& input) { return input.flag() ? std::to_string(input.whole()) : input.text(); }

void insertRow(Library& library, fuzz::Input& input) {
  switch (input.byte() % 4) {
    case 0:
      library.insert("INSERT INTO zv_events(status, category, session_id, client_ts, event) VALUES(?, ?, ?, ?, ?)",
                     {input.flag() ? std::string("new") : input.text(), input.text(), input.text(), numberOf(input),
                      recordOf(input)});
      break;
    case 1:
      library.insert("INSERT OR REPLACE INTO zv_session(session_id, timestamp, event) VALUES(?, ?, ?)",
                     {input.text(), numberOf(input), recordOf(input)});
      break;
    case 2:
      library.insert("INSERT OR REPLACE INTO zv_progression(progression, tries) VALUES(?, ?)",
                     {input.flag() ? std::string("w") : input.text(), numberOf(input)});
      break;
    default: {
      const std::string key = input.oneOf({"session_num", "transaction_num", "sdk_config_cached", "dimension01",
                                           "dimension02", "new_install", "use_idfv"});
      library.insert("INSERT OR REPLACE INTO zv_state(key, value) VALUES(?, ?)", {key, numberOf(input)});
    }
  }
}

// Whether a record with this in it was sent. Every batch can be read as a whole, whatever its records are.
bool hasSent(Library& library, std::string_view wanted) {
  bool found = false;
  for (const auto& request : library.sent) {
    if (fuzz::isInit(request)) continue;
    std::string body;
    if (collector::inflateGzip(request.body, kMaxInflated, body) != collector::InflateOutcome::ok) body = request.body;
    const auto failure = collector::forEachElement(body, [&](const collector::JsonValue&, std::string_view record) {
      found = found || record.find(wanted) != std::string_view::npos;
    });
    fuzz::require(failure.empty(), "the collector can't read a batch: " + failure, body);
  }
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Library& library = Library::get();
  library.forget();
  fuzz::Input input(bytes, size);
  for (unsigned left = input.byte() % 8; left > 0; --left) insertRow(library, input);
  library.restart();
  library.answer = [](const ZVURLRequest& request) {
    return fuzz::Reply{fuzz::isInit(request) ? R"({"server_ts":1700000000})" : "[]", 200, 0};
  };
  library.initialise();
  Zorvane::addDesignEventWithEventId("a:new:one", 1.0);
  Zorvane::addProgressionEventWithProgressionStatus(ZVProgressionStatus::complete, "w", nullptr, nullptr);
  Zorvane::addBusinessEventWithCurrency("EUR", 1, "t", "i", nullptr, nullptr);
  library.settle();
  library.fireTimers();
  for (const auto* const event :
       {R"("category":"user")", R"("event_id":"a:new:one")", R"("event_id":"Complete:w")", R"("event_id":"t:i")"})
    fuzz::require(hasSent(library, event), "a new event is lost", event);
  return 0;
}

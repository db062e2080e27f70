#include "crash/left_behind.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "codecs/json.h"
#include "crash/first_form.h"
#include "crash/report.h"
#include "events/ZVEvents.h"
#include "platform/CallStack.h"
#include "platform/CrashFile.h"
#include "platform/Modules.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"
#include "state/ZVState.h"
#include "store/ZVStore.h"
#include "values/EventWords.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr const char* kLatestKey = "crash_report";  // in the state table: the id of the latest event made here
constexpr std::size_t kIdLength = 36;

struct LeftFrame {
  std::uintptr_t address = 0;
  std::uintptr_t offset = 0;
  std::int64_t writtenAt = 0;
  std::string module;
};

struct LeftReport {
  std::string id;
  std::string application;
  std::optional<ZVMap> fields;
  std::int64_t after = 0;
  std::optional<std::string> exceptionType;
  std::map<std::size_t, LeftFrame> frames;
  std::optional<std::string> text;
};

// What is before the next `separator`, which goes with it; the rest when there is none.
std::string_view cutOff(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

template <class Number>
Number numberOf(std::string_view text, int base = 10) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

void readApplication(std::string_view json, LeftReport& report) {
  const auto parsed = readJson(json);
  const ZVValue::Array* const lines = parsed ? parsed->ifArray() : nullptr;
  if (lines != nullptr && lines->size() == 1 && lines->front().ifString() != nullptr)
    report.application = *lines->front().ifString();
}

void readFields(std::string_view json, LeftReport& report) {
  const auto parsed = readJson(json);
  if (const ZVMap* const fields = parsed ? parsed->ifMap() : nullptr) report.fields = *fields;
}

// A frame comes twice when its module is known.
void readFrame(std::string_view line, LeftReport& report) {
  const auto index = numberOf<std::size_t>(cutOff(line, ' '));
  if (index >= CallStack::kMostFrames) return;
  LeftFrame frame;
  frame.address = numberOf<std::uintptr_t>(cutOff(line, ' '), 16);
  frame.offset = numberOf<std::uintptr_t>(cutOff(line, ' '), 16);
  frame.writtenAt = numberOf<std::int64_t>(cutOff(line, ' '));
  frame.module = line;
  report.frames.insert_or_assign(index, std::move(frame));
}

struct Word {
  std::string_view word;
  void (*read)(std::string_view rest, LeftReport& report);
};
constexpr auto kWords = std::to_array<Word>({
    {"id", [](std::string_view rest, LeftReport& report) { report.id = rest; }},
    {"application", readApplication},
    {"fields", readFields},
    {"after", [](std::string_view rest,
                 LeftReport& report) { report.after = std::max<std::int64_t>(numberOf<std::int64_t>(rest), 0); }},
    {"exception", [](std::string_view rest, LeftReport& report) { report.exceptionType = rest; }},
    {"frame", readFrame},
});

bool isId(std::string_view text) {
  return text.size() == kIdLength && text.find_first_not_of("0123456789abcdef-") == std::string_view::npos;
}

// Absent: it was begun before there was a session, or was cut short before it said whose crash it was.
std::optional<LeftReport> readReport(std::string_view file) {
  if (cutOff(file, '\n') != kFirstFormHeader) return std::nullopt;
  LeftReport report;
  while (file.find('\n') != std::string_view::npos) {  // a line without an end was cut short
    std::string_view line = cutOff(file, '\n');
    const std::string_view word = cutOff(line, ' ');
    if (word == "text") {
      if (const auto length = numberOf<std::size_t>(line); file.size() > length) report.text = file.substr(0, length);
      break;
    }
    const auto found = std::ranges::find(kWords, word, &Word::word);
    if (found != kWords.end()) found->read(line, report);
  }
  if (!isId(report.id) || !report.fields) return std::nullopt;
  return report;
}

using ModuleBases = std::map<std::string, std::uintptr_t, std::less<>>;

ModuleBases loadedModules() {
  ModuleBases bases;
  visitModules([](const ModuleMapping& module,
                  void* all) { static_cast<ModuleBases*>(all)->try_emplace(std::string(module.path), module.base); },
               &bases);
  return bases;
}

const void* pointer(std::uintptr_t address) { return std::bit_cast<const void*>(address); }

// With the function's name where the very same module is part of this process, too.
std::string describe(const LeftFrame& frame, const ModuleBases& modules) {
  if (frame.module.empty()) return describeFrame(nullptr, {}, pointer(frame.address));
  const auto loaded = modules.find(frame.module);
  if (loaded != modules.end() && frame.writtenAt != 0 && moduleWrittenAt(frame.module.c_str()) == frame.writtenAt) {
    const void* const here = pointer(loaded->second + frame.offset);
    if (const FramePlace place = placeOf(here); place.module != nullptr)
      return describeFrame(here, place, pointer(frame.address));
  }
  return describeFrame(pointer(frame.offset), {.module = frame.module.c_str()}, pointer(frame.address));
}

std::string textOf(const LeftReport& report) {
  if (report.text) return *report.text;
  CrashText text;
  text.firstLine = report.application;
  if (report.exceptionType) text.exceptionName = exceptionName(report.exceptionType->c_str());
  const ModuleBases modules = loadedModules();
  for (const auto& [number, frame] : report.frames)
    if (number == text.frames.size()) text.frames.push_back(describe(frame, modules));
  return reportText(text);
}

ZVMap eventOf(const LeftReport& report) {
  ZVMap event = *report.fields;
  event.set("event_uuid", report.id);
  if (const ZVValue* const taken = event.find("client_ts"))
    event.set("client_ts", doubleReading(*taken) + static_cast<double>(report.after));
  event.set("category", Category::error);
  event.set("severity", *wordOf(ZVErrorSeverity::critical));
  event.set("message", prefixOfUtf16Length(textOf(report), kMostReportUnits));
  return event;
}

// Whether an earlier start came as far as storing the event. Absent: the database didn't say.
std::optional<bool> isMade(const std::string& id) {
  const auto state = ZVStore::readDbState();
  if (!state) return std::nullopt;
  const auto latest = state->find(kLatestKey);
  return latest != state->end() && latest->second == id ? true : isCrashWaiting(id);
}

// True when the event is stored; the next start tries again otherwise.
bool store(const std::string& id, const ZVMap& event) {
  const auto made = isMade(id);
  if (!made) return false;
  if (!*made) {
    ZVLogger::i(0, "Reporting a crash of an earlier run.");
    ZVEvents::addEventToStoreWithEventData(event);
    if (!isCrashWaiting(id).value_or(false)) return false;
  }
  ZVStore::setDbStateWithKey(kLatestKey, id);  // for a file that can't be removed
  return true;
}

// The file goes when its event is certain to be stored, or can't ever be. True when it is stored.
bool settle(LeftCrashFile& file) {
  const auto report = readReport(file.text());
  const auto event = report ? std::optional(eventOf(*report)) : std::nullopt;
  const bool canBe = event && writeJson(*event, ZVEvents::kMaxRecordLevels);
  const bool isStored = canBe && store(report->id, *event);
  if (isStored || !canBe) file.remove();
  return isStored;
}

}  // namespace

bool reportCrashesLeftBehind() {
  if (!ZVState::isErrorReportingEnabled() || !ZVState::isEventSubmissionEnabled() || ZVState::sessionId()) return false;
  bool anything = false;
  for (const auto& file : crashFilesLeftIn(applicationDataDirectory())) anything |= settle(*file);
  return anything;
}

std::optional<bool> isCrashWaiting(const std::string& id) { return ZVStore::holdsEventWith(id); }

}  // namespace zorvane

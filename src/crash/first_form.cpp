#include "crash/first_form.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <utility>

#include "codecs/json.h"
#include "codecs/uuids.h"
#include "events/ZVEvents.h"
#include "platform/CrashFile.h"
#include "platform/Elapsed.h"
#include "platform/Modules.h"
#include "platform/Platform.h"

namespace zorvane {

namespace {

constexpr std::size_t kMostFieldBytes = std::size_t{64} * 1024;

// A text that a handler may read while the work queue writes the next one. It stands outside of the heap, which a game
// may have overwritten; only what was used of it takes memory.
class Remembered {
 public:
  void set(std::string_view json, std::int64_t takenAt) noexcept {
    if (isFrozen_) return;
    Text& next = texts_[1 - current_];
    next.length = json.copy(next.bytes.data(), next.bytes.size());
    next.takenAt = takenAt;
    current_ = 1 - current_;
  }
  // From here on at most the text that is being written changes, which isn't the current one.
  void freeze() noexcept { isFrozen_ = true; }
  void thaw() noexcept { isFrozen_ = false; }
  [[nodiscard]] std::string_view json() const noexcept { return {current().bytes.data(), current().length}; }
  [[nodiscard]] std::int64_t takenAt() const noexcept { return current().takenAt; }

 private:
  struct Text {
    std::array<char, kMostFieldBytes> bytes;
    std::size_t length = 0;
    std::int64_t takenAt = 0;  // seconds since boot
  };
  [[nodiscard]] const Text& current() const noexcept { return texts_[current_]; }

  std::array<Text, 2> texts_{};
  std::atomic<std::size_t> current_{0};
  std::atomic<bool> isFrozen_{false};
};

constinit Remembered remembered;
constinit std::array<char, 36> formId{};
constinit std::array<char, 4096> application{};  // as JSON
constinit std::size_t applicationLength = 0;
constinit std::atomic<bool> hasFile{false};
constinit std::atomic<bool> hasBegun{false};

// The work queue's.
struct Fields {
  std::string json;
  std::int64_t takenAt = 0;
};
Fields& latest() {
  static auto* const fields = new Fields;  // never destroyed: the work queue outlives the statics
  return *fields;
}

void chooseId() { randomUuid().copy(formId.data(), formId.size()); }

ZVMap mapOf(const std::string& json) {
  const auto parsed = readJson(json);
  const ZVMap* const fields = parsed ? parsed->ifMap() : nullptr;
  return fields != nullptr ? *fields : ZVMap();
}

// Fields that are too large go, the largest kinds first: the others say whose crash it was.
void remember(std::string json, std::int64_t takenAt) {
  for (const char* const large : {"configurations", "custom_fields"}) {
    if (json.size() <= kMostFieldBytes) break;
    ZVMap fields = mapOf(json);
    fields.erase(large);
    json = writeJson(fields).value_or("");
  }
  if (json.size() <= kMostFieldBytes) remembered.set(json, takenAt);
}

// Collects what goes to the file. No heap, no lock.
class Output {
 public:
  Output() = default;
  ~Output() { flush(); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  Output& operator<<(std::string_view text) noexcept {
    while (!text.empty()) {
      if (used_ == bytes_.size()) flush();
      const std::size_t count = text.copy(bytes_.data() + used_, bytes_.size() - used_);
      used_ += count;
      text.remove_prefix(count);
    }
    return *this;
  }
  Output& number(std::int64_t number) noexcept { return digits(number, 10); }
  Output& hexadecimal(std::uintptr_t number) noexcept { return digits(number, 16); }

 private:
  template <class Number>
  Output& digits(Number number, int base) noexcept {
    std::array<char, 24> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number, base).ptr;
    return *this << std::string_view(text.data(), static_cast<std::size_t>(end - text.data()));
  }
  void flush() noexcept {
    appendToCrashFile({bytes_.data(), used_});
    used_ = 0;
  }

  std::array<char, 1024> bytes_;
  std::size_t used_ = 0;
};

void addFrame(Output& output, std::size_t index, const void* frame) noexcept {
  output << "frame ";
  output.number(static_cast<std::int64_t>(index)) << " ";
  output.hexadecimal(reinterpret_cast<std::uintptr_t>(frame));
}

// The frames that lie in one mapping.
void addFramesOf(const ModuleMapping& module, void* context) noexcept {
  const CallStack& stack = *static_cast<const CallStack*>(context);
  Output output;
  for (std::size_t index = 0; index < stack.count; ++index) {
    const auto address = reinterpret_cast<std::uintptr_t>(stack.frames[index]);
    if (address <= module.begin || address > module.end) continue;  // a return address: its call lies before it
    addFrame(output, index, stack.frames[index]);
    output << " ";
    output.hexadecimal(address - module.base) << " ";
    output.number(moduleWrittenAt(module.path.data())) << " " << module.path << "\n";
  }
}

}  // namespace

bool prepareFirstForm(const std::string& firstLine) {
  if (hasFile) return true;
  const std::string line = writeJson(ZVValue(ZVValue::Array{firstLine})).value_or("");
  applicationLength = line.size() <= application.size() ? line.copy(application.data(), application.size()) : 0;
  chooseId();
  hasFile = prepareCrashFile(applicationDataDirectory());
  return hasFile;
}

void rememberForCrash(std::string_view json) {
  if (!hasFile) return;
  latest() = {std::string(json), secondsSinceBoot()};
  if (json.size() <= kMostFieldBytes) remembered.set(json, latest().takenAt);
  else remember(latest().json, latest().takenAt);
}

void rememberDimensionsForCrash() {
  if (!hasFile || latest().json.empty()) return;
  ZVMap fields = mapOf(latest().json);
  for (const char* const key : {"custom_01", "custom_02", "custom_03"}) fields.erase(key);
  ZVEvents::addDimensionsToEventWithEventData(fields);
  auto json = writeJson(fields);
  if (!json) return;
  latest().json = *std::move(json);
  remember(latest().json, latest().takenAt);
}

void beginFirstForm() noexcept {
  remembered.freeze();
  hasBegun = beginCrashFile();
  Output output;
  output << kFirstFormHeader << "\nid " << std::string_view(formId.data(), formId.size());
  output << "\napplication " << std::string_view(application.data(), applicationLength);
  output << "\nfields " << remembered.json() << "\nafter ";
  output.number(secondsSinceBoot() - remembered.takenAt()) << "\n";
}

void addExceptionToFirstForm(const char* type) noexcept {
  if (!hasBegun) return;
  Output() << "exception " << (type != nullptr ? type : "-") << "\n";
}

void addFramesToFirstForm(const CallStack& stack) noexcept {
  if (!hasBegun) return;
  {
    Output output;
    for (std::size_t index = 0; index < stack.count; ++index) {
      addFrame(output, index, stack.frames[index]);
      output << "\n";
    }
  }
  visitModules(addFramesOf, const_cast<CallStack*>(&stack));
}

void addTextToFirstForm(std::string_view report) noexcept {
  if (!hasBegun) return;
  Output output;
  output << "text ";
  output.number(static_cast<std::int64_t>(report.size())) << "\n" << report << "\n";
}

void withdrawFirstForm() noexcept {
  if (hasBegun.exchange(false)) emptyCrashFile();
}

std::string crashId() { return {formId.data(), formId.size()}; }

void prepareNextFirstForm() {
  hasBegun = false;
  chooseId();
  remembered.thaw();
}

}  // namespace zorvane

#include "codecs/patterns.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include "values/Text.h"

namespace zorvane {

namespace {

// The patterns are the library's own, a score of them. What comes beyond is compiled each time.
constexpr std::size_t kMaxKept = 64;
// Far more steps than any pattern of ours takes; text made to hurt ends here, as a text that does not match.
constexpr std::uint32_t kMaxSteps = 1'000'000;

struct Free {
  void operator()(pcre2_code* code) const noexcept { pcre2_code_free(code); }
  void operator()(pcre2_match_data* data) const noexcept { pcre2_match_data_free(data); }
  void operator()(pcre2_compile_context* context) const noexcept { pcre2_compile_context_free(context); }
};
using Pattern = std::shared_ptr<const pcre2_code>;  // read only once compiled, so threads share it
using MatchData = std::unique_ptr<pcre2_match_data, Free>;
using CompileContext = std::unique_ptr<pcre2_compile_context, Free>;

// "$" as the dialect of the patterns has it: at the end, and before a line terminator that ends the text, of which CR
// and LF are one. The engine's own also stands between these two. No pattern has a "]" first in a class.
std::string withOurEnd(std::string_view pattern) {
  constexpr std::string_view kEnd = "(?!(?<=\\r)\\n)$";
  std::string text;
  bool inClass = false;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const char character = pattern[at];
    if (character == '[') inClass = true;
    if (character == ']') inClass = false;
    if (character == '$' && !inClass) text += kEnd;
    else text += character;
    if (character == '\\' && at + 1 < pattern.size()) text += pattern[++at];
  }
  return text;
}

// Empty when the pattern is none.
Pattern compile(std::string_view asGiven) {
  const std::string pattern = withOurEnd(asGiven);
  const CompileContext context(pcre2_compile_context_create(nullptr));
  if (!context) return nullptr;
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
  int error = 0;
  PCRE2_SIZE errorOffset = 0;
  std::unique_ptr<pcre2_code, Free> code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                                       PCRE2_UTF | PCRE2_UCP, &error, &errorOffset, context.get()));
  if (code) pcre2_jit_compile(code.get(), PCRE2_JIT_COMPLETE);  // where it can't, matching interprets
  return code;
}

class PatternCache {
 public:
  Pattern get(std::string_view pattern) {
    const std::scoped_lock lock(guard_);
    if (const auto found = patterns_.find(pattern); found != patterns_.end()) return found->second;
    Pattern compiled = compile(pattern);
    if (compiled && patterns_.size() < kMaxKept) patterns_.emplace(pattern, compiled);
    return compiled;
  }

 private:
  std::mutex guard_;
  std::map<std::string, Pattern, std::less<>> patterns_;  // guarded by guard_
};

PatternCache& patternCache() {
  static auto* const cache = new PatternCache;  // outlives every static of the game
  return *cache;
}

pcre2_match_context* boundedMatching() {
  static pcre2_match_context* const shared = [] {
    auto* const context = pcre2_match_context_create(nullptr);
    if (context != nullptr) pcre2_set_match_limit(context, kMaxSteps);
    return context;
  }();
  return shared;  // only read from now on
}

bool matches(const pcre2_code& pattern, std::string_view text) {
  const MatchData data(pcre2_match_data_create(1, nullptr));
  if (!data) return false;
  // The text has been checked: the engine's own check takes several times as long.
  return pcre2_match(&pattern, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0, PCRE2_NO_UTF_CHECK,
                     data.get(), boundedMatching()) >= 0;
}

}  // namespace

bool matchesPattern(ZVText text, std::string_view pattern) {
  if (text.empty() || !isValidUtf8(text.view())) return false;
  const Pattern compiled = patternCache().get(pattern);
  return compiled && matches(*compiled, text.view());
}

}  // namespace zorvane

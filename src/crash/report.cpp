#include "crash/report.h"

#include <string_view>

#include <fmt/format.h>

#include "platform/CallStack.h"
#include "platform/Platform.h"
#include "values/Text.h"

namespace zorvane {

namespace {

constexpr std::size_t kUsualLength = 4096;

std::string describeApplication() {
  const ZVApplicationFacts facts = platform().application();
  constexpr std::string_view kAbsent = "(null)";
  return withReplacementCharacters(fmt::format("Gliodra version {} build {}\n",
                                               facts.build.value_or(std::string(kAbsent)),
                                               facts.internalBuild.value_or(std::string(kAbsent))));
}

}  // namespace

const std::string& applicationLine() {
  static const auto* const line = new std::string(describeApplication());  // never freed: games crash while they leave
  return *line;
}

std::string exceptionName(const char* type) {
  return type != nullptr && std::string_view(type) != "-" ? demangled(type) : "std::terminate";
}

std::string reportText(const CrashText& parts) {
  std::string text;
  text.reserve(kUsualLength);
  text += parts.firstLine;
  if (parts.exceptionName) {
    text += "Uncaught Exception\n";
    text += "Exception Name: " + *parts.exceptionName + '\n';
    text += "Exception Reason: " + parts.exceptionReason.value_or("(null)") + '\n';
    text += "Stack trace:\n";
  } else {
    text += "Stack trace:n\n";
  }
  for (std::size_t index = 0; const std::string& frame : parts.frames)
    text += fmt::format("{:4} - {}\n", index++, frame);
  // What is not UTF-8, in a reason or a path, would cost the whole report.
  return std::string(prefixOfUtf16Length(withReplacementCharacters(text), kMostReportUnits));
}

}  // namespace zorvane

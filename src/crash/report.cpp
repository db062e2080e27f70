#include "crash/report.h"

#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "platform/CallStack.h"
#include "platform/Platform.h"
#include "values/Text.h"

namespace {

constexpr std::size_t kUsualLength = 4096;
constexpr std::size_t kMostUnits = 8192;

std::string describeApplication() {
  const ZVApplicationFacts facts = platform().application();
  constexpr std::string_view kAbsent = "(null)";
  return fmt::format("Gliodra version {} build {}\n", facts.build.value_or(std::string(kAbsent)),
                     facts.internalBuild.value_or(std::string(kAbsent)));
}

const std::string& firstLine() {
  static const auto* const line = new std::string(describeApplication());  // never freed: games crash while they leave
  return *line;
}

std::string beginReport() {
  std::string report;
  report.reserve(kUsualLength);
  return report += firstLine();
}

// What is not UTF-8, in a reason or a path, would cost the whole report.
std::string finish(std::string report) {
  for (std::size_t index = 0; const std::string& line : callStack())
    fmt::format_to(std::back_inserter(report), "{:4} - {}\n", index++, line);
  return std::string(prefixOfUtf16Length(withReplacementCharacters(report), kMostUnits));
}

}  // namespace

void prepareReports() { firstLine(); }

std::string exceptionReport(const UncaughtException& exception) {
  std::string report = beginReport();
  report += "Uncaught Exception\n";
  report += "Exception Name: " + exception.name + '\n';
  report += "Exception Reason: " + exception.reason.value_or("(null)") + '\n';
  report += "Stack trace:\n";
  return finish(std::move(report));
}

std::string signalReport() { return finish(beginReport() + "Stack trace:n\n"); }

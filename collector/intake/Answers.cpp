#include "collector/intake/Answers.h"

#include <fmt/format.h>

#include "collector/base/Json.h"

namespace collector {

std::string reasonsList(const Reasons& reasons) { return joinedJson('[', reasons, ']', quotedJson); }

std::string reasonsView(const Reasons& reasons) { return fmt::format(R"({{"reasons":{}}})", reasonsList(reasons)); }

std::string rejectedView(const std::vector<Rejected>& rejected) {
  return joinedJson('[', rejected, ']', [](const Rejected& each) {
    return fmt::format(R"({{"index":{},"reasons":{}}})", each.position, each.reasons);
  });
}

}  // namespace collector

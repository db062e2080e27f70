#include "collector/api/Problem.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "collector/base/Json.h"
#include "collector/visits/Account.h"

namespace collector {

namespace {

constexpr auto kTitles = std::to_array<std::pair<int, std::string_view>>({{400, "Bad Request"},
                                                                          {401, "Unauthorized"},
                                                                          {403, "Forbidden"},
                                                                          {404, "Not Found"},
                                                                          {405, "Method Not Allowed"},
                                                                          {409, "Conflict"},
                                                                          {429, "Too Many Requests"},
                                                                          {503, "Service Unavailable"}});

}  // namespace

front::Response problem(int status, std::string_view detail) {
  const auto title = std::ranges::find(kTitles, status, &std::pair<int, std::string_view>::first);
  front::Response answer{status, "application/problem+json",
                         fmt::format(R"({{"type":"about:blank","title":"{}","status":{},"detail":{}}})",
                                     title != kTitles.end() ? title->second : "", status, quotedJson(detail))};
  answer.mayFail = true;
  answer.account = Account{.refusal = std::string(detail)};
  return answer;
}

front::Response problem(const Access::Refusal& refusal) {
  auto answer = problem(refusal.status, refusal.reason);
  if (refusal.pause) answer.fields.push_back({"Retry-After", std::to_string(refusal.pause->count())});
  if (refusal.status == 401) answer.fields.push_back({"WWW-Authenticate", "Bearer"});
  return answer;
}

}  // namespace collector

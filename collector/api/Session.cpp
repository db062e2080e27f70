#include "collector/api/Session.h"

#include <fmt/format.h>

#include <ctime>
#include <string>
#include <string_view>

#include "collector/api/Pass.h"
#include "collector/api/Problem.h"
#include "collector/base/Json.h"

namespace collector {

namespace {

std::string_view nameOf(Level level) {
  if (level == Level::editing) return "editing";
  return level == Level::reading ? "reading" : "none";
}

// The path is the browser's, who may know the collector under any prefix.
front::Field cookie(std::string_view pass, std::int64_t seconds, bool isSecure) {
  return {"Set-Cookie", fmt::format("{}={}; Path=/; Max-Age={}; HttpOnly; SameSite=Strict{}", Access::kCookie, pass,
                                    seconds, isSecure ? "; Secure" : "")};
}

}  // namespace

front::Response Session::answer(Level level) const {
  front::Response response{
      200, "application/json",
      fmt::format(R"({{"level":"{}","needed":{}}})", nameOf(level), access_.hasTokens() ? "true" : "false")};
  response.fields.push_back({"Cache-Control", "no-store"});
  return response;
}

front::Response Session::show(const front::Head& head) const { return answer(access_.levelOf(head)); }

front::Response Session::signIn(const front::Request& request) {
  if (!access_.hasTokens()) return answer(access_.levelOf(request.head));
  const auto parsed = parseJson(request.body);
  const auto token =
      parsed.failure.empty() && parsed.document.IsObject() ? textMember(parsed.document, "token") : std::string_view();
  if (token.empty()) return problem(400, R"(the body must be {"token": "..."})");
  if (const auto pause = tries_.take(request.head.address, Tries::Clock::now())) {
    auto response = problem(429, fmt::format("too many wrong tokens; try again in {} s", pause->count()));
    response.fields.push_back({"Retry-After", std::to_string(pause->count())});
    return response;
  }
  const auto pass = access_.passFor(token, std::time(nullptr));
  if (!pass) return problem(Access::Refusal{401, "this is no token of the collector"});
  tries_.giveBack(request.head.address);
  auto response = answer(claimedBy(*pass).value_or(Level::none));
  response.fields.push_back(cookie(*pass, kPassSeconds, request.head.isSecure));
  return response;
}

front::Response Session::signOut(const front::Head& head) const {
  auto response = answer(access_.hasTokens() ? Level::none : access_.levelOf(head));
  response.fields.push_back(cookie("", 0, head.isSecure));
  return response;
}

}  // namespace collector

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

front::Response Session::show(const front::Head& head) const {
  const auto look = access_.look(head);
  return look.refusal ? problem(*look.refusal) : answer(look.level);
}

front::Response Session::signIn(const front::Request& request) const {
  if (!access_.hasTokens()) return show(request.head);
  const auto parsed = parseJson(request.body);
  const auto token =
      parsed.failure.empty() && parsed.document.IsObject() ? textMember(parsed.document, "token") : std::string_view();
  if (token.empty()) return problem(400, R"(the body must be {"token": "..."})");
  if (const auto look = access_.look(token, request.head.address); look.refusal) return problem(*look.refusal);
  const auto pass = access_.passFor(token, std::time(nullptr));
  if (!pass) return problem(Access::Refusal{401, "this is no token of the collector"});
  auto response = answer(claimedBy(*pass).value_or(Level::none));
  response.fields.push_back(cookie(*pass, kPassSeconds, request.head.isSecure));
  return response;
}

front::Response Session::signOut(const front::Head& head) const {
  auto response = access_.hasTokens() ? answer(Level::none) : show(head);
  response.fields.push_back(cookie("", 0, head.isSecure));
  return response;
}

}  // namespace collector

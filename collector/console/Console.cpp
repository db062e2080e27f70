#include "collector/console/Console.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "collector/base/Inflate.h"
#include "collector/base/Text.h"
#include "collector/console/Assets.h"

namespace collector {

namespace {

// Games send hostile texts: should one ever get out of the page's hands, it can neither run nor fetch anything.
constexpr auto kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

const Asset* assetAt(std::string_view target) {
  const auto path = target.substr(0, target.find('?'));
  const auto all = consoleAssets();
  const auto found = std::ranges::find(all, path, &Asset::path);
  return found != all.end() ? &*found : nullptr;
}

std::string_view trimmed(std::string_view text) {
  const auto from = text.find_first_not_of(" \t");
  return from == std::string_view::npos ? std::string_view()
                                        : text.substr(from, text.find_last_not_of(" \t") + 1 - from);
}

// Whether the list names gzip, and not with the weight of nothing.
bool takesGzip(std::string_view accepted) {
  return std::ranges::any_of(splitAt(accepted, ','), [](std::string_view each) {
    const auto end = std::min(each.find(';'), each.size());
    const auto name = trimmed(each.substr(0, end));
    const bool isRefused = each.substr(end).find("q=0") != std::string_view::npos &&
                           each.find_first_of("123456789", each.find("q=0")) == std::string_view::npos;
    return (front::isSameName(name, "gzip") || name == "*") && !isRefused;
  });
}

bool hasAlready(std::string_view known, std::string_view tag) {
  return std::ranges::any_of(splitAt(known, ','),
                             [&](std::string_view each) { return trimmed(each) == "*" || trimmed(each) == tag; });
}

std::string inflated(const Asset& asset) {
  std::string content;
  if (inflateGzip(asset.gzipped, asset.size, content) != InflateOutcome::ok)
    throw std::logic_error("a file of the console is damaged");
  return content;
}

// The page names the other files by what is in them, so those never change; the page itself may with the next version.
std::vector<front::Field> fieldsOf(const Asset& asset, const std::string& tag) {
  return {{"ETag", tag},
          {"Cache-Control", asset.path == "/" ? "no-cache" : "public, max-age=31536000, immutable"},
          {"Vary", "Accept-Encoding"},
          {"Content-Security-Policy", kPolicy},
          {"X-Content-Type-Options", "nosniff"},
          {"Referrer-Policy", "no-referrer"},
          {"Cross-Origin-Opener-Policy", "same-origin"},
          {"Cross-Origin-Resource-Policy", "same-origin"}};
}

}  // namespace

bool isOfConsole(std::string_view path) { return assetAt(path) != nullptr; }

front::Response consoleAnswer(const front::Head& head) {
  const Asset* const asset = assetAt(head.target);
  if (asset == nullptr) return {404, "text/plain; charset=utf-8", "there is nothing here\n"};
  const std::string tag = fmt::format("W/\"{}\"", asset->tag);  // weak: the same for both encodings
  front::Response response{200, std::string(asset->type), "", fieldsOf(*asset, tag)};
  if (hasAlready(head.field("If-None-Match"), tag)) {
    response.status = 304;
    response.type.clear();
  } else if (takesGzip(head.field("Accept-Encoding"))) {
    response.fields.push_back({"Content-Encoding", "gzip"});
    response.body = asset->gzipped;
  } else {
    response.body = inflated(*asset);
  }
  return response;
}

}  // namespace collector

// ZVHelpers: every encoding that the library uses. JSON, gzip, digests, base64, UUIDs, patterns, URL queries.
//
// Thread: any; no operation keeps state. Failures are absent results; nothing is thrown.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

class ZVHelpers {
 public:
  static std::string generateUUID();       // random, canonical, lower case
  static std::string generateUpperUUID();  // the same as the platform gives it, upper case

  static std::string stringToMd5(std::string_view text);  // of the bytes before the first NUL; 32 lower-case hex digits
  static std::string dataToMd5(std::string_view data);
  static std::string sha256HashForData(std::string_view data);                  // base64
  static std::string hmacWithKey(std::string_view key, std::string_view data);  // HMAC-SHA256 as base64, 44 characters
  static std::string base64forData(std::string_view data);
  // AES-256-CBC as base64. Absent for an empty text or a key of less than 16 characters.
  static std::optional<std::string> encryptString(ZVText plainText, ZVText key);

  // How deep arrays and maps may lie in each other. Values are written, copied and destroyed by recursion, so depth
  // costs stack; nothing that the collector understands comes near this.
  static constexpr std::size_t kMaxJsonDepth = 512;

  // Compact JSON with escaped slashes. Absent unless `object` is a map or an array that JSON can express: valid UTF-8
  // throughout, finite numbers.
  static std::optional<std::string> jsonStringWithObject(const ZVValue& object);
  static std::optional<std::string> jsonStringWithObject(const ZVMap& object, std::size_t mostLevels = kMaxJsonDepth);
  // The parsed map or array. Absent for anything else: what is read can be written again. Data come from outside, so
  // they may hold a bounded number of values only.
  static std::optional<ZVValue> dictionaryWithJsonString(ZVText json, std::size_t mostLevels = kMaxJsonDepth);
  static std::optional<ZVValue> dictionaryWithJsonData(const std::optional<std::string>& json);

  // True when the pattern matches somewhere in `text`. False for empty text, bad UTF-8 and patterns that don't compile.
  static bool stringMatchWithString(ZVText text, std::string_view pattern);

  static std::string querystringWithDictionary(const ZVMap& dictionary);
  static std::string escapeValueForURLParameter(std::string_view text);

  // The names are crossed, and stay so: Enflate compresses (gzip), Deflate decompresses (gzip or zlib), up to 16 MiB.
  static std::optional<std::string> gzipEnflateWithData(std::string_view data);
  static std::optional<std::string> gzipDeflateWithData(std::string_view data);

  static bool isStringNullOrEmptyWithString(ZVText text) { return text.empty(); }
};

}  // namespace zorvane

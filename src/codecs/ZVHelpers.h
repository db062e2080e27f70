// ZVHelpers: every encoding that the library uses, under the names that the system gives them. A front: the work is
// done in the files of this folder, which the library itself calls.
//
// Thread: any; no operation keeps state. Failures are absent results; nothing is thrown.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <zorvane/ZVTypes.h>

namespace zorvane {

class ZVHelpers {
 public:
  static std::string generateUUID();
  static std::string generateUpperUUID();

  static std::string stringToMd5(std::string_view text);  // of the bytes before the first NUL
  static std::string dataToMd5(std::string_view data);
  static std::string sha256HashForData(std::string_view data);
  static std::string hmacWithKey(std::string_view key, std::string_view data);
  static std::string base64forData(std::string_view data);
  static std::optional<std::string> encryptString(ZVText plainText, ZVText key);

  static std::optional<std::string> jsonStringWithObject(const ZVValue& object);
  static std::optional<std::string> jsonStringWithObject(const ZVMap& object);
  static std::optional<ZVValue> dictionaryWithJsonString(ZVText json);
  static std::optional<ZVValue> dictionaryWithJsonData(const std::optional<std::string>& json);

  static bool stringMatchWithString(ZVText text, std::string_view pattern);

  static std::string querystringWithDictionary(const ZVMap& dictionary);
  static std::string escapeValueForURLParameter(std::string_view text);

  // The names are crossed, and stay so: Enflate compresses, Deflate decompresses.
  static std::optional<std::string> gzipEnflateWithData(std::string_view data);
  static std::optional<std::string> gzipDeflateWithData(std::string_view data);

  static bool isStringNullOrEmptyWithString(ZVText text);
};

}  // namespace zorvane

#include "codecs/ZVHelpers.h"

#include "codecs/digests.h"
#include "codecs/encryption.h"
#include "codecs/gzip.h"
#include "codecs/json.h"
#include "codecs/patterns.h"
#include "codecs/urls.h"
#include "codecs/uuids.h"

namespace zorvane {

using Text = std::optional<std::string>;
using Value = std::optional<ZVValue>;

std::string ZVHelpers::generateUUID() { return randomUuid(); }
std::string ZVHelpers::generateUpperUUID() { return randomUpperUuid(); }

std::string ZVHelpers::stringToMd5(std::string_view text) { return md5(upToNul(text)); }
std::string ZVHelpers::dataToMd5(std::string_view data) { return md5(data); }
std::string ZVHelpers::sha256HashForData(std::string_view data) { return sha256(data); }
std::string ZVHelpers::hmacWithKey(std::string_view key, std::string_view data) { return hmacSha256(key, data); }
std::string ZVHelpers::base64forData(std::string_view data) { return base64(data); }
Text ZVHelpers::encryptString(ZVText plainText, ZVText key) { return encryptText(plainText, key); }

Text ZVHelpers::jsonStringWithObject(const ZVValue& object) { return writeJson(object); }
Text ZVHelpers::jsonStringWithObject(const ZVMap& object) { return writeJson(object); }
Value ZVHelpers::dictionaryWithJsonString(ZVText json) { return readJson(json.view()); }
Value ZVHelpers::dictionaryWithJsonData(const Text& json) { return readJsonAnswer(json.value_or("")); }

bool ZVHelpers::stringMatchWithString(ZVText text, std::string_view pattern) { return matchesPattern(text, pattern); }

std::string ZVHelpers::querystringWithDictionary(const ZVMap& dictionary) { return urlQuery(dictionary); }
std::string ZVHelpers::escapeValueForURLParameter(std::string_view text) { return escapedForUrl(text); }

Text ZVHelpers::gzipEnflateWithData(std::string_view data) { return compress(data); }
Text ZVHelpers::gzipDeflateWithData(std::string_view data) { return decompress(data); }

bool ZVHelpers::isStringNullOrEmptyWithString(ZVText text) { return text.empty(); }

}  // namespace zorvane

#include <openssl/sha.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Defaults.h"

namespace zorvane {

namespace {

constexpr std::size_t kMaxEntryBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxNameBytes = 200;
constexpr std::string_view kHex = "0123456789ABCDEF";

// From the user database, not from the environment: a variable of the game's launcher must not move the data.
std::string homeDirectory() {
  passwd entry{};
  passwd* found = nullptr;
  int result = ERANGE;
  for (std::vector<char> buffer(1024); result == ERANGE && buffer.size() <= kMaxEntryBytes;
       buffer.resize(buffer.size() * 2)) {
    result = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
    if (result == 0 && found != nullptr && entry.pw_dir != nullptr) return entry.pw_dir;
  }
  return "/nonexistent";  // as for the system's own users: what can't be stored there is logged by whoever tries
}

// The beginning of its SHA-256, in hexadecimal.
std::string digest(std::string_view text) {
  constexpr std::size_t kBytes = 10;
  std::array<unsigned char, SHA256_DIGEST_LENGTH> hash{};
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), hash.data());
  std::string digits;
  for (const unsigned char byte : std::span(hash).first(kBytes)) digits.append({kHex[byte >> 4U], kHex[byte & 0xFU]});
  return digits;
}

// The identifier as one directory's name. Different identifiers stay different: two games must never share a file.
std::string directoryName(std::string_view identifier) {
  std::string name;
  for (const char character : identifier) {
    const auto byte = static_cast<unsigned char>(character);
    const bool unsafe = byte < 0x20 || byte == 0x7F || byte == '/' || byte == '%' || (byte == '.' && name.empty());
    if (unsafe) name.append({'%', kHex[byte >> 4U], kHex[byte & 0xFU]});
    else name += character;
  }
  if (name.empty()) return "%";
  return name.size() <= kMaxNameBytes ? name : name.substr(0, kMaxNameBytes) + '%' + digest(identifier);
}

}  // namespace

std::string defaultDataDirectory(const std::string& applicationIdentifier) {
  return homeDirectory() + "/.local/share/" + directoryName(applicationIdentifier);
}

}  // namespace zorvane

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
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
  return "/nonexistent";  // as for the system's own users: what can't be stored there is logged where it fails
}

// FNV-1a, which libcrypto has not: the same in every version, for it names folders that outlive them.
std::string digest(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char character : text) hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
  return std::to_string(hash);
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

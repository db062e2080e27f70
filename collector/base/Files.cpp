#include "collector/base/Files.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace collector {

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content;
  std::array<char, 4096> piece{};
  while (file.read(piece.data(), piece.size()), file.gcount() > 0)
    content.append(piece.data(), static_cast<std::size_t>(file.gcount()));
  if (!file.is_open() || file.bad())
    throw std::runtime_error(fmt::format("{} can't be read: {}", path, std::strerror(errno)));
  return content;
}

std::string firstLineOf(const std::string& text) { return text.substr(0, text.find_first_of("\r\n")); }

std::string secondLineOf(const std::string& text) {
  const auto end = text.find('\n');
  return end == std::string::npos ? "" : firstLineOf(text.substr(end + 1));
}

}  // namespace collector

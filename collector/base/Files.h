// Small files that people write: tokens, credentials, documents.
//
// Thread: any.
#pragma once

#include <string>

namespace collector {

// Throws std::runtime_error with what is wrong.
std::string contentOf(const std::string& path);
// The first line and, where there is one, the second.
std::string firstLineOf(const std::string& text);
std::string secondLineOf(const std::string& text);

}  // namespace collector

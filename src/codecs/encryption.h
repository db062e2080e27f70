// Symmetric encryption of a text.
//
// Thread: any. Logs why it refuses.
#pragma once

#include <optional>
#include <string>

#include <zorvane/ZVTypes.h>

namespace zorvane {

// AES-256-CBC as base64. Absent for an empty text or a key of less than 16 characters.
std::optional<std::string> encryptText(ZVText plainText, ZVText key);

}  // namespace zorvane

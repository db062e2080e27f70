#include "api/receipt.h"

#include <filesystem>

#include "codecs/digests.h"
#include "device/ZVDevice.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "runtime/ZVLogger.h"

namespace zorvane {

namespace {

constexpr std::size_t kMaxReceiptBytes = std::size_t{512} * 1024;  // a real one takes a few thousand

bool exists(const std::string& path) {
  std::error_code failure;
  return std::filesystem::exists(path, failure);
}

}  // namespace

std::optional<std::string> fetchReceipt() {
  ZVLogger::i(0, "Business event: Retrieving app store receipt for business event.");
  if (ZVDevice::deviceIsLowerOrEqualToIos6()) {
    ZVLogger::i(0,
                "Could not add business event: Could not get app store receipt automatically as OS version is iOS6.1 "
                "or lower.");
    return std::nullopt;
  }
  const auto path = platform().application().receiptPath;
  if (!path || !exists(*path)) {
    ZVLogger::w(0, "Could not add business event: Could not get app store receipt - File path was not found!");
    return std::nullopt;
  }
  std::string receipt = base64(readRegularFile(*path, kMaxReceiptBytes).value_or(""));
  if (receipt.empty()) {
    ZVLogger::w(0,
                "Could not add business event: Could not get app store receipt - File path found, but reading the "
                "receipt data to base64 failed.");
    return std::nullopt;
  }
  return receipt;
}

}  // namespace zorvane

#include "store/Reserve.h"

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "platform/Allocation.h"

namespace {

// What a log of the usual size can add to the database, and a batch that is marked to the log.
constexpr std::int64_t kBytes = std::int64_t{1} << 20;
constexpr std::int64_t kLeast = std::int64_t{64} << 10;  // less helps nobody

std::int64_t available(const std::string& database) {
  std::error_code failure;
  const auto space = std::filesystem::space(std::filesystem::path(database).parent_path(), failure);
  return failure ? 0 : static_cast<std::int64_t>(space.available);
}

// In memory there is no folder, and so no room.
void makeOf(const std::string& database, std::int64_t share) {
  const std::string path = reservePath(database);
  std::error_code failure;
  if (std::filesystem::exists(path, failure) || failure) return;
  const std::int64_t room = available(database) / share;
  for (std::int64_t bytes = kBytes; bytes >= kLeast; bytes /= 2)
    if (bytes <= room && allocateFile(path, bytes)) return;
}

}  // namespace

std::string reservePath(const std::string& database) { return database + ".reserve"; }

void makeReserve(const std::string& database) { makeOf(database, 2); }

void lendReserve(const std::string& database) {
  std::error_code ignored;
  std::filesystem::remove(reservePath(database), ignored);
}

void restoreReserve(const std::string& database) { makeOf(database, 1); }

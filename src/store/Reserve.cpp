#include "store/Reserve.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "platform/Allocation.h"

namespace zorvane {

namespace {

// What a log of the usual size can add to the database, and what marking the largest record adds to the log.
constexpr std::int64_t kBytes = std::int64_t{2} << 20;
constexpr std::int64_t kLeast = std::int64_t{64} << 10;  // less helps nobody

std::int64_t available(const std::string& database) {
  std::error_code failure;
  const auto space = std::filesystem::space(std::filesystem::path(database).parent_path(), failure);
  return failure ? 0 : static_cast<std::int64_t>(space.available);
}

std::int64_t present(const std::string& path) {
  std::error_code failure;
  const auto size = std::filesystem::file_size(path, failure);
  return failure ? 0 : static_cast<std::int64_t>(size);
}

// In memory there is no folder, and so no room.
void makeOf(const std::string& database, std::int64_t share) {
  const std::string path = reservePath(database);
  const std::int64_t there = present(path);
  if (there == kBytes) return;
  const std::int64_t bytes = std::min(kBytes, (available(database) + there) / share);
  if (bytes >= kLeast && bytes > there) allocateFile(path, bytes);
}

}  // namespace

std::string reservePath(const std::string& database) { return database + ".reserve"; }

// Half of what there is: a log that takes the other half can be folded back into the database then.
void makeReserve(const std::string& database) { makeOf(database, 2); }

bool lendReserve(const std::string& database) {
  const std::string path = reservePath(database);
  const std::int64_t there = present(path);
  if (there == 0) return false;
  std::error_code failure;
  if (there / 2 >= kLeast) std::filesystem::resize_file(path, static_cast<std::uintmax_t>(there / 2), failure);
  else std::filesystem::remove(path, failure);
  return !failure;
}

void restoreReserve(const std::string& database) { makeOf(database, 1); }

}  // namespace zorvane

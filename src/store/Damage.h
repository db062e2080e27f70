// What becomes of a database that is damaged. For the files of this folder.
//
// Thread: the work queue, while the folder is locked for this process alone and no connection is open.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace zorvane {

// Where a damaged database is kept; the next one takes its place.
std::string damagedPath(const std::string& database);

// Keeps the file under another name and puts a new one in its place, with every row that could be read. Their number;
// absent when that failed: then nothing was moved.
std::optional<std::size_t> replaceDamaged(const std::string& database);

}  // namespace zorvane

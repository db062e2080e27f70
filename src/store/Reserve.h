// Room on the disk that is kept for sending. On a disk that is full the write-ahead log can't be folded back, for the
// database can't grow, so a batch that was sent could not be removed, and nothing would ever free the disk again. The
// reserve is lent for the length of one run of the queue; events never get it.
//
// Thread: the work queue. For the files of this folder.
#pragma once

#include <string>

namespace zorvane {

std::string reservePath(const std::string& database);

// Nothing when it is there whole. Otherwise out of what the disk can spare.
void makeReserve(const std::string& database);
// Frees half of it, the rest at last: what a step writes and takes back stays in the log's file, and folding the log
// back must find room again. False when there is nothing left.
bool lendReserve(const std::string& database);
// Nothing when it is there whole. Otherwise as much of it as there is room for: what waits goes before new events.
void restoreReserve(const std::string& database);

}  // namespace zorvane

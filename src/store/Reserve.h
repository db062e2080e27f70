// Room on the disk that is kept for sending. On a disk that is full the write-ahead log can't be folded back, for the
// database can't grow, so a batch could be neither marked nor removed, and nothing would ever free the disk again. The
// reserve is lent for the length of one run of the queue; events never get it.
//
// Thread: the work queue. For the files of this folder.
#pragma once

#include <string>

std::string reservePath(const std::string& database);

// At the opening, out of what the disk can spare.
void makeReserve(const std::string& database);
// Frees its room.
void lendReserve(const std::string& database);
// After a run: nothing when it wasn't lent, otherwise as much of it as there is room for.
void restoreReserve(const std::string& database);

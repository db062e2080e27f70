// Brings an archive's file up to date: tables are made in an empty one, and those of an earlier version are moved.
//
// Thread: of the database, which nobody else writes to meanwhile.
#pragma once

struct sqlite3;

namespace collector {

// Throws SqlFailure, with the file untouched, when it is of a later version or of something else.
void checkVersion(sqlite3* database);

bool isUpToDate(sqlite3* database);

// In steps that are whole or not at all: after a kill it goes on where it was.
void bringUpToDate(sqlite3* database);

}  // namespace collector

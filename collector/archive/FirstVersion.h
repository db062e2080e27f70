// The archive's first version kept requests as they came: requests, the bodies of init calls, and events and refused
// records as texts.
//
// Thread: of the database.
#pragma once

struct sqlite3;

namespace collector {

// Makes the second version of it. Its records pass the rules once more: what these don't take is among the refused
// ones. Requests and init calls are given up; nothing asks for them.
void moveFirstVersion(sqlite3* database);

}  // namespace collector

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/LoopbackServer.h"
#include "support/Sqlite.h"
#include "support/TemporaryFolder.h"

namespace {

// Whether the collector answers, hangs or isn't there, the game ends and what it reported is on disk.
TEST(WholeLife, ReportsFromEveryCornerOfAProcess) {
  LoopbackServer answering, hanging;
  hanging.hang();
  for (const int port : {answering.port(), hanging.port(), 9}) {
    SCOPED_TRACE(port == 9 ? "nobody listens" : port == hanging.port() ? "it hangs" : "it answers");
    const TemporaryFolder folder;
    ChildProcess game(folder.path(), {ZORVANE_WHOLE_LIFE}, folder.file("data") + ' ' + std::to_string(port) + '\n');
    const auto ending = game.wait();
    ASSERT_TRUE(ending) << "the game does not end";
    EXPECT_EQ(ending->status, 0) << "signal " << ending->signal << '\n' << game.errors();
    for (const char* corner : {"constructor", "main", "detached", "atexit", "destructor", "child"})
      EXPECT_EQ(countRows(folder.file("data/zorvane.sqlite"),
                          std::string("SELECT count(*) FROM zv_events WHERE event LIKE '%\"from:") + corner + "\"%'"),
                corner == std::string("child") ? 0U : 1U)
          << corner;
  }
}

}  // namespace

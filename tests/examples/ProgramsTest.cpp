// The examples in other languages, as their readers run them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "system/Processes.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using testing::AllOf;
using testing::HasSubstr;

// Runs the command with its arguments about the collector and its data; its output.
std::string played(std::vector<std::string> command, const RunningCollector& collector, const TemporaryFolder& folder) {
  const std::string url = collector.url();
  const auto scheme = url.find("://");
  const auto port = url.rfind(':');
  for (const std::string& word :
       {url.substr(0, scheme), url.substr(scheme + 3, port - scheme - 3), url.substr(port + 1), folder.file("data")})
    command.push_back(word);
  ChildProcess program(folder.path(), command);
  const auto ending = program.wait();
  EXPECT_TRUE(ending && ending->status == 0) << program.errors();
  EXPECT_EQ(describe(*collector.summary().find("rejected")), "0");
  return program.output();
}

std::string categories(const RunningCollector& collector) { return describe(*collector.summary().find("categories")); }

TEST(Examples, TheOneInCReportsEveryKindOfEvent) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  EXPECT_THAT(played({ZORVANE_C_EXAMPLE}, collector, folder),
              AllOf(HasSubstr("lives: 3\n"), HasSubstr("timer runs: 1\n"), HasSubstr("log: Info/ZV/Analytics: ")));
  EXPECT_EQ(categories(collector),
            "{ads = 1; business = 1; design = 2; error = 1; impression = 1; progression = 2; resource = 1; "
            "session_end = 1; user = 1}");
  EXPECT_EQ(describe(*collector.records("impression").at(0).find("impression_data")),
            "{country = DE; revenue = {usd = 0.25}}");
}

#ifdef ZORVANE_PYTHON
TEST(Examples, TheOneInPythonReportsThroughTheSharedLibrary) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  EXPECT_THAT(played({ZORVANE_PYTHON, ZORVANE_PYTHON_EXAMPLE, ZORVANE_LOADABLE}, collector, folder),
              AllOf(HasSubstr("lives: 3\n"), testing::Not(HasSubstr("log: 0 lines"))));
  EXPECT_EQ(categories(collector), "{design = 1; error = 1; session_end = 1; user = 1}");
  EXPECT_EQ(describe(*collector.records("design").at(0).find("custom_fields")), "{weapon = Bögen; arrows = 12}");
}
#endif

}  // namespace

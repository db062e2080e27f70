// The examples, run as a reader runs them: what they say, and what a collector gets.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "system/Processes.h"
#include "values/Text.h"

using namespace zorvane;

namespace {

using namespace testing;

const std::string kKeys = "8abd34525196ff0ad667d9f522f1bb1a:bd698b827264cb9517fbc9ce731177608fe254ea";

// The records of a category, each as the values of some of its keys: "Complete:cave1 2".
std::vector<std::string> reported(const RunningCollector& collector, std::string_view category,
                                  const std::vector<std::string>& keys) {
  std::vector<std::string> lines;
  for (const ZVMap& record : collector.records(category)) {
    std::string line;
    for (const std::string& key : keys)
      if (const ZVValue* value = record.find(key)) line += (line.empty() ? "" : " ") + describe(*value);
    lines.push_back(line);
  }
  return lines;
}

TEST(ExampleGame, ReportsItsPlayFromTheTitleToTheEnd) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder, {"--game", kKeys, "--configs", ZORVANE_GAME_FOLDER "/../configs.json"});
  std::filesystem::create_directory(folder.file("data"));
  std::ofstream(folder.file("data/save")) << "coins many";
  ChildProcess game(folder.path(),
                    {"/usr/bin/env", "SDL_VIDEODRIVER=dummy", ZORVANE_GAME, "--collector", collector.url(),
                     "--data-dir", folder.file("data"), "--script", ZORVANE_GAME_FOLDER "/play-through.script"});
  ASSERT_EQ(game.wait(std::chrono::seconds(100)), 0) << game.errors();

  EXPECT_THAT(reported(collector, "progression", {"event_id", "attempt_num"}),
              ElementsAre("Start:cave1", "Fail:cave1", "Start:cave1", "Complete:cave1 2", "Start:cave2", "Fail:cave2"));
  EXPECT_THAT(reported(collector, "design", {"event_id", "custom_01"}), ElementsAre("death:cave1:spike easy"));
  // Seven coins of the value that the configuration gives them.
  EXPECT_THAT(reported(collector, "resource", {"event_id", "amount"}),
              ElementsAre("Source:coins:cave:cave1 14", "Source:coins:ad:between_caves 5",
                          "Source:coins:shop:coin_pack 50", "Sink:coins:shop:shield -10"));
  EXPECT_THAT(reported(collector, "business", {"event_id", "currency", "amount", "transaction_num"}),
              ElementsAre("coin_pack:coins_50 USD 199 1"));
  EXPECT_THAT(reported(collector, "ads", {"ad_action"}), ElementsAre("request", "loaded", "show", "reward_received"));
  EXPECT_THAT(reported(collector, "impression", {"ad_network_name"}), ElementsAre("max"));
  EXPECT_THAT(reported(collector, "error", {"severity"}), ElementsAre("warning"));
  EXPECT_THAT(reported(collector, "user", {"session_num"}), ElementsAre("1", "2"));  // it was minimised once
  EXPECT_THAT(reported(collector, "session_end", {"session_num"}), ElementsAre("1", "2"));

  EXPECT_EQ(*collector.records("design")[0].find("custom_fields"),
            ZVMap({{"coins_left", 7}, {"hazard_speed", 1.5}, {"coin_value", 2}}));
  EXPECT_GT(*collector.records("ads")[2].find("ad_duration")->ifInteger(), 0);
  EXPECT_THAT(reported(collector, "business", {"receipt_info"}),
              ElementsAre(HasSubstr("c3RvcmUg")));  // "store ", encoded
  EXPECT_EQ(collector.refused(kKeys.substr(0, kKeys.find(':'))), "[]");
}

// Runs the command with its arguments about the collector and its data; its output.
std::string played(std::vector<std::string> command, const RunningCollector& collector, const TemporaryFolder& folder) {
  const std::string url = collector.url();
  const auto scheme = url.find("://");
  const auto port = url.rfind(':');
  for (const std::string& word :
       {url.substr(0, scheme), url.substr(scheme + 3, port - scheme - 3), url.substr(port + 1), folder.file("data")})
    command.push_back(word);
  ChildProcess program(folder.path(), command);
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(collector.refused(), "[]");
  return program.output();
}

TEST(Examples, TheOneInCReportsEveryKindOfEvent) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  EXPECT_THAT(played({ZORVANE_C_EXAMPLE}, collector, folder),
              AllOf(HasSubstr("lives: 3\n"), HasSubstr("timer runs: 1\n"), HasSubstr("log: Info/ZV/Analytics: ")));
  EXPECT_THAT(collector.categories(), ElementsAre(Pair("ads", 1), Pair("business", 1), Pair("design", 2),
                                                  Pair("error", 1), Pair("impression", 1), Pair("progression", 2),
                                                  Pair("resource", 1), Pair("session_end", 1), Pair("user", 1)));
  EXPECT_EQ(describe(*collector.records("impression").at(0).find("impression_data")),
            "{country = DE; revenue = {usd = 0.25}}");
}

#ifdef ZORVANE_PYTHON
TEST(Examples, TheOneInPythonReportsThroughTheSharedLibrary) {
  const TemporaryFolder folder;
  const RunningCollector collector(folder);
  EXPECT_THAT(played({ZORVANE_PYTHON, ZORVANE_PYTHON_EXAMPLE, ZORVANE_LOADABLE}, collector, folder),
              AllOf(HasSubstr("lives: 3\n"), Not(HasSubstr("log: 0 lines"))));
  EXPECT_THAT(collector.categories(),
              ElementsAre(Pair("design", 1), Pair("error", 1), Pair("session_end", 1), Pair("user", 1)));
  EXPECT_EQ(describe(*collector.records("design").at(0).find("custom_fields")), "{weapon = Bögen; arrows = 12}");
}
#endif

}  // namespace

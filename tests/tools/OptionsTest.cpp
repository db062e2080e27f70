#include "zorvane-play/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

namespace {

std::variant<Options, int> read(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "zorvane-play");
  return readOptions(static_cast<int>(arguments.size()), arguments.data());
}

}  // namespace

TEST(PlayOptions, TakeWhatTheyNameAndEndWithAStatusOtherwise) {
  const auto all = read({"--collector", "https://[::1]:8443/", "--data-dir=here", "--queue-seconds", "0.5", "-"});
  const auto& options = std::get<Options>(all);
  ASSERT_TRUE(options.collector);
  EXPECT_EQ(options.collector->protocol, "https");
  EXPECT_EQ(options.collector->hostname, "[::1]");
  EXPECT_EQ(options.collector->port, "8443");
  EXPECT_EQ(options.dataDirectory, "here");
  EXPECT_EQ(options.queueSeconds, 0.5);
  EXPECT_EQ(options.file, "-");
  EXPECT_EQ(std::get<Options>(read({"--collector", "http://a.example", "file"})).collector->port, "");

  for (const char* asked : {"--help", "-h", "--version"}) EXPECT_EQ(std::get<int>(read({asked})), 0) << asked;
  for (const auto& [name, value] : {std::pair{"--collector", "ftp://a"},
                                    {"--collector", "http://a:65536"},
                                    {"--collector", "http://a/path"},
                                    {"--queue-seconds", "0"},
                                    {"--queue-seconds", "3601"},
                                    {"--queue-seconds", "1x"},
                                    {"--data-dir", ""},
                                    {"--ca-file", "/nonexistent"},
                                    {"--nothing", "1"},
                                    {"one", "two"}})
    EXPECT_EQ(std::get<int>(read({name, value})), kBadUsage) << name << ' ' << value;
}

#include "zorvane-play/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "zorvane-play/Options.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string refusal(const std::string& text) {
  std::istringstream lines(text);
  const auto recording = readRecording(lines);
  const auto* wrong = std::get_if<std::string>(&recording);
  return wrong != nullptr ? *wrong : "";
}

TEST(Recording, IsRefusedWithTheLineThatIsWrong) {
  struct Case {
    std::string line;
    std::string says;
  };
  const std::string good = "[\"startSession\"]\n\n";
  for (const auto& [line, says] :
       {Case{"nonsense", "is no JSON array"}, Case{"{}", "is no JSON array"}, Case{"[1]", "must begin with the name"},
        Case{"[]", "must begin with the name"}, Case{"[\"startSession\",1]", "takes 0 arguments, not 1"},
        Case{"[\"configureBuild:\"]", "takes 1 arguments, not 0"},
        Case{"[\"configureBuild:\",7]", "argument 1 must be text or null"},
        Case{"[\"configureAvailableCustomDimensions01:\",[\"a\",1]]", "argument 1 must be an array of texts or null"},
        Case{"[\"addDesignEventWithEventId:value:\",\"a\",\"b\"]", "argument 2 must be a number or null"},
        Case{"[\"addDesignEventWithEventId:customFields:\",\"a\",[]]", "argument 2 must be an object or null"},
        Case{"[\"setEnabledInfoLog:\",null]", "argument 1 must be true or false"},
        Case{"[\"configureBuild\",\"x\"]", "is no operation or directive"},
        Case{"[\"@wait\",-1]", "takes a number of seconds"}, Case{"[\"@drain\",1]", "takes no arguments"},
        Case{"[\"@platform\",{}]", "must come before the first call"},
        Case{"[\"@elsewhere\"]", "is no operation or directive"}}) {
    EXPECT_THAT(refusal(good + line), StartsWith("line 3: ")) << line;
    EXPECT_THAT(refusal(good + line), HasSubstr(says)) << line;
  }
  EXPECT_EQ(refusal(good + "[\"addDesignEventWithEventId:value:customFields:mergeFields:\",null,null,null,true]\r\n"),
            "");
  EXPECT_THAT(refusal(R"(["@platform",{"colour":"red"}])"), HasSubstr("does not know \"colour\""));
  EXPECT_THAT(refusal(R"(["@platform",{"tracking_status":"x"}])"), HasSubstr("can't take that value"));
  EXPECT_EQ(refusal(R"(["@platform",{"tracking_status":3,"version":null,"system_version":"17.2"}])"), "");
}

TEST(Options, AreTakenOrRefusedWithAMessage) {
  struct Case {
    std::vector<std::string> arguments;
    std::string says;  // "" when they are taken
  };
  for (const auto& [arguments, says] :
       {Case{{"--collector", "https://127.0.0.1:8443", "file"}, ""}, Case{{"--collector", "http://host/"}, ""},
        Case{{"--collector", "host:1"}, "takes http[s]://HOST[:PORT]"},
        Case{{"--collector", "https://host/v2"}, "takes http[s]://HOST[:PORT]"}, Case{{"--queue-seconds", "0.5"}, ""},
        Case{{"--queue-seconds", "0"}, "takes a number"}, Case{{"--queue-seconds"}, "takes a value"},
        Case{{"--speed", "1"}, "there is no option --speed"}, Case{{"one", "two"}, "one file at a time"}}) {
    const auto options = readOptions(arguments);
    const auto* wrong = std::get_if<std::string>(&options);
    EXPECT_EQ(wrong == nullptr, says.empty()) << testing::PrintToString(arguments);
    EXPECT_THAT(wrong != nullptr ? *wrong : "", HasSubstr(says));
  }
}

}  // namespace

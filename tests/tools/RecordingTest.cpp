#include "zorvane-play/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

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
  using Case = std::pair<std::string, std::string>;
  const std::string good = "[\"startSession\"]\n\n";
  for (const auto& [line, says] :
       {Case{"nonsense", "is no JSON array"}, Case{"[1]", "must begin with the name"},
        Case{"[\"startSession\",1]", "takes 0 arguments, not 1"},
        Case{"[\"configureBuild:\",7]", "argument 1 must be text or null"},
        Case{"[\"configureAvailableCustomDimensions01:\",[\"a\",1]]", "argument 1 must be an array of texts or null"},
        Case{"[\"configureBuild\",\"x\"]", "is no operation or directive"},
        Case{"[\"@wait\",-1]", "takes a number of seconds"},
        Case{"[\"@platform\",{}]", "must come before the first call"}}) {
    EXPECT_THAT(refusal(good + line), StartsWith("line 3: ")) << line;
    EXPECT_THAT(refusal(good + line), HasSubstr(says)) << line;
  }
  EXPECT_EQ(refusal(good + "[\"addDesignEventWithEventId:value:customFields:mergeFields:\",null,null,null,true]\r\n"),
            "");
  EXPECT_THAT(refusal(R"(["@platform",{"colour":"red"}])"), HasSubstr("does not know \"colour\""));
  EXPECT_THAT(refusal(R"(["@platform",{"tracking_status":"x"}])"), HasSubstr("can't take that value"));
  EXPECT_EQ(refusal(R"(["@platform",{"tracking_status":3,"version":null,"system_version":"17.2"}])"), "");
}

}  // namespace

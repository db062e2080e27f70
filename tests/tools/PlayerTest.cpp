// What the player knows: the operations that a game can call, its options and its recordings.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "zorvane-play/Operations.h"
#include "zorvane-play/Options.h"
#include "zorvane-play/Recording.h"

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

std::variant<Options, int> read(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "zorvane-play");
  return readOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(PlayOptions, TakeWhatTheyNameAndEndWithAStatusOtherwise) {
  const auto all = read({"--collector", "https://[::1]:8443/", "--data-dir=here", "--queue-seconds", "0.5", "-"});
  const auto& options = std::get<Options>(all);
  ASSERT_TRUE(options.collector);
  const auto& [protocol, hostname, port] = *options.collector;
  EXPECT_EQ(fmt::format("{} {} {} {} {} {}", protocol, hostname, port, options.dataDirectory,
                        options.queueSeconds.value_or(0), options.file),
            "https [::1] 8443 here 0.5 -");
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

std::string codeOf(const std::string& header) {
  std::ifstream lines(std::string(ZORVANE_INCLUDE_DIRECTORY) + "/" + header);
  std::string code, line;
  while (std::getline(lines, line)) code += line.substr(0, line.find("//")) + ' ';
  EXPECT_FALSE(code.empty()) << header;
  return std::regex_replace(code, std::regex(" +"), " ");
}

// Keyword names of one declaration: the function's name, then the names of all parameters but the first, each with a
// colon; a parameter with a default makes a form without it.
void addForms(const std::string& function, const std::string& parameters, std::set<std::string>& names) {
  static const std::regex parameter(R"(([A-Za-z0-9_:<>]+) ([A-Za-z0-9]+)( = [^,]+)?(,|$))");
  std::string name = function;
  bool first = true;
  for (std::sregex_iterator found(parameters.begin(), parameters.end(), parameter), end; found != end; ++found) {
    if ((*found)[3].matched) names.insert(name);
    name += (first ? "" : (*found)[2].str()) + ":";
    first = false;
  }
  names.insert(name);
}

struct Declared {
  std::set<std::string> functions;  // of the facade
  std::set<std::string> forms;      // of those and of the timers
};

Declared declared() {
  static const std::regex declaration(R"(static [^;=(]+[ &>]([A-Za-z0-9]+)\(([^;]*)\)( noexcept)?;)");
  Declared all;
  for (const char* header : {"Zorvane.h", "ZVTimer.h"}) {
    const std::string code = codeOf(header);
    const std::string open = code.substr(0, code.find("private:"));
    for (std::sregex_iterator found(open.begin(), open.end(), declaration), end; found != end; ++found) {
      if (header == std::string("Zorvane.h")) all.functions.insert((*found)[1]);
      addForms((*found)[1], (*found)[2], all.forms);
    }
  }
  return all;
}

// In lower case without underscores, which is how names of both languages are compared.
std::string plain(std::string text) {
  std::erase(text, '_');
  for (char& letter : text) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return text;
}

// By rule: "addAdEventWithAction" is zorvane_add_ad_event. A network has a macro in place of a function.
std::string cNameOf(const std::string& name) {
  static const std::regex ofANetwork("addImpression(.+)EventWithAdNetworkVersion");
  if (std::smatch network; std::regex_match(name, network, ofANetwork))
    return "zorvane_ad_network_" + network.str(1) + ' ';
  return "zorvane_" + std::regex_replace(name, std::regex("With.*|AsString|^get"), "") + '(';
}

TEST(Operations, AreExactlyThoseThatAGameCanCall) {
  const auto playable = operationNames();
  const std::set<std::string> names(playable.begin(), playable.end());
  EXPECT_EQ(names.size(), playable.size()) << "a name stands twice";
  EXPECT_THAT(names, testing::ElementsAreArray(declared().forms));
}

TEST(Operations, AllHaveAFunctionInC) {
  const std::map<std::string, std::string> otherwiseNamed{
      {"sharedInstance", ""},  // nothing needs it
      {"initializeWithConfiguredGameKeyAndGameSecret", "zorvane_initialize_configured("},
      {"adTypeToString", "zorvane_ad_type_name("},
      {"setRemoteConfigsDelegate", "zorvane_set_remote_configs_callback("},
  };
  const std::string c = plain(codeOf("zorvane_c.h"));
  const auto functions = declared().functions;
  EXPECT_GT(functions.size(), 45U);
  for (const std::string& name : functions) {
    const std::string expected = otherwiseNamed.contains(name) ? otherwiseNamed.at(name) : cNameOf(name);
    EXPECT_NE(c.find(plain(expected)), std::string::npos) << name << " as " << expected;
  }
}

}  // namespace

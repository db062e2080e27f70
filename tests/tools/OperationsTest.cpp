#include "zorvane-play/Operations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>

namespace {

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

std::string inLowerCase(std::string text) {
  for (char& letter : text) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return text;
}

// By rule: "addAdEventWithAction" is zorvane_add_ad_event. A network has a macro in place of a function.
std::string cNameOf(std::string name) {
  static const std::regex ofANetwork("addImpression(.+)EventWithAdNetworkVersion");
  const bool isMacro = std::regex_match(name, ofANetwork);
  name = isMacro ? "adNetwork" + std::regex_replace(name, ofANetwork, "$1 ") : name + '(';
  for (const auto& [pattern, replacement] :
       {std::pair{"With[^(]*|AsString|^get", ""}, {"([a-z0-9])([A-Z])", "$1_$2"}, {"([A-Z])([A-Z][a-z])", "$1_$2"}})
    name = std::regex_replace(name, std::regex(pattern), replacement);
  return "zorvane_" + inLowerCase(name);
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
  const std::string c = inLowerCase(codeOf("zorvane_c.h"));
  const auto functions = declared().functions;
  EXPECT_GT(functions.size(), 45U);
  for (const std::string& name : functions) {
    const std::string expected = otherwiseNamed.contains(name) ? otherwiseNamed.at(name) : cNameOf(name);
    EXPECT_NE(c.find(expected), std::string::npos) << name << " as " << expected;
  }
}

}  // namespace

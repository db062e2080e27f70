#include "zorvane-play/Operations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string withoutComments(const std::string& header) {
  std::istringstream lines(header);
  std::string code, line;
  while (std::getline(lines, line)) code += line.substr(0, line.find("//")) + ' ';
  return code;
}

// The public part of a class: its text up to "private:" or the end.
std::string publicOperationsOf(const std::string& name) {
  std::ifstream file(std::string(ZORVANE_INCLUDE_DIRECTORY) + "/" + name);
  const std::string code = withoutComments({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
  EXPECT_FALSE(code.empty()) << name;
  return code.substr(0, code.find("private:"));
}

// Keyword names of one declaration: the function's name, then the names of all parameters but the first, each with a
// colon; a parameter with a default makes a form without it.
void addForms(const std::string& function, const std::string& parameters, std::set<std::string>& names) {
  static const std::regex parameter(R"(([A-Za-z0-9_:<>]+) ([A-Za-z0-9]+)( = [^,]+)?(,|$))");
  std::string name = function;
  bool first = true;
  for (std::sregex_iterator found(parameters.begin(), parameters.end(), parameter), end; found != end; ++found) {
    const bool optional = (*found)[3].matched;
    if (optional) names.insert(name);
    name += (first ? "" : (*found)[2].str()) + ":";
    first = false;
  }
  names.insert(name);
}

std::set<std::string> declaredOperations() {
  static const std::regex declaration(R"(static [^;=(]+[ &>]([A-Za-z0-9]+)\(([^;]*)\)( noexcept)?;)");
  std::set<std::string> names;
  for (const char* header : {"Zorvane.h", "ZVTimer.h"}) {
    const std::string code = std::regex_replace(publicOperationsOf(header), std::regex(" +"), " ");
    for (std::sregex_iterator found(code.begin(), code.end(), declaration), end; found != end; ++found)
      addForms((*found)[1], (*found)[2], names);
  }
  return names;
}

TEST(Operations, AreExactlyThoseThatAGameCanCall) {
  const auto playable = operationNames();
  const std::set<std::string> names(playable.begin(), playable.end());
  EXPECT_EQ(names.size(), playable.size()) << "a name stands twice";
  EXPECT_THAT(names, testing::ElementsAreArray(declaredOperations()));
}

}  // namespace

// The command line of zorvane-report: a question, its parameters, and where it is asked.
#pragma once

#include <map>
#include <string>
#include <variant>

#include "collector/questions/Questions.h"

namespace collector::report {

enum class Form { table, csv, json };

struct Options {
  const Question* question = nullptr;
  std::map<std::string, std::string> parameters;  // those that were given, as ask() takes them
  Form form = Form::table;
  std::string databaseFile = "zorvane-collector.sqlite";
  std::string warehouse, warehouseCredentialsFile;  // in place of the database
};

inline constexpr int kBadUsage = 2;

// Or the status to end with, once the help, the questions or what is wrong is printed.
std::variant<Options, int> readOptions(int count, const char* const* arguments);

}  // namespace collector::report

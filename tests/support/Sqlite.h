// A look into a database file from outside the library.
//
// Thread: the test's. What fails throws.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// The whole number that the first row begins with.
std::size_t countRows(const std::string& file, const std::string& sql);
// The first column of every row.
std::vector<std::string> textsOf(const std::string& file, const std::string& sql);
void execute(const std::string& file, const std::string& sql);

// Holds the database's write lock until what it returns is gone.
[[nodiscard]] std::shared_ptr<void> lockDatabase(const std::string& file);

// A look into a database file from outside the library.
//
// Thread: the test's. What fails throws.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct sqlite3;

// The whole number that the first row begins with.
std::size_t countRows(const std::string& file, const std::string& sql);
void execute(const std::string& file, const std::string& sql);

// Holds the database's write lock from construction to destruction.
class HeldLock {
 public:
  explicit HeldLock(const std::string& file);
  ~HeldLock();
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;

 private:
  sqlite3* database_ = nullptr;
};

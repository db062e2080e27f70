#include "Save.h"

#include <filesystem>
#include <fstream>

bool readSave(const std::string& file, Save& save) {
  if (!std::filesystem::exists(file)) return true;
  Save found;
  std::string coins, best;
  std::ifstream lines(file);
  const bool readable = lines >> coins >> found.coins >> best >> found.best && coins == "coins" && best == "best";
  if (readable) save = found;
  return readable;
}

bool writeSave(const std::string& file, const Save& save) {
  // Next to it and then in its place, so that a game that ends right now leaves the old one whole.
  const std::string fresh = file + ".new";
  std::ofstream(fresh) << "coins " << save.coins << "\nbest " << save.best << '\n';
  std::error_code failure;
  std::filesystem::rename(fresh, file, failure);
  return !failure;
}

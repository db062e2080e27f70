// What the player keeps from one start to the next: coins and the best score, a small text file.
#pragma once

#include <string>

struct Save {
  int coins = 0;
  int best = 0;
};

// A file that is not there yet leaves `save` as it is. False: there is one and it can't be made sense of.
bool readSave(const std::string& file, Save& save);
bool writeSave(const std::string& file, const Save& save);

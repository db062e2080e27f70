#include "Script.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

Script::Script(const std::string& file) {
  std::ifstream input(file);
  for (std::string text; std::getline(input, text);) {
    text.resize(std::min(text.find('#'), text.size()));
    if (text.find_first_not_of(" \t") == std::string::npos) continue;
    try {
      lines_.push_back(read(text));
    } catch (const std::exception&) {
      throw std::runtime_error(file + ": \"" + text + "\" makes no sense");
    }
  }
}

Script::Line Script::read(const std::string& text) {
  Line line;
  std::istringstream words(text);
  std::string word;
  words >> word;
  if (word == "minimize") line.windowEvent = SDL_WINDOWEVENT_MINIMIZED;
  else if (word == "restore") line.windowEvent = SDL_WINDOWEVENT_RESTORED;
  else if (word == "connect") line.cue.connect = true;
  else if (word == "screenshot" && words >> word) line.cue.screenshot = word;
  else line.frames = std::stoi(word);
  while (words >> word) {
    line.keys.push_back(SDL_GetKeyFromName(word.c_str()));
    if (line.keys.back() == SDLK_UNKNOWN) throw std::invalid_argument(word);
  }
  return line;
}

Script::Cue Script::play() {
  if (--framesLeft_ > 0) return {};
  if (next_ > 0) pushKeys(SDL_KEYUP);
  if (next_ == lines_.size()) {
    SDL_Event quit{.type = SDL_QUIT};
    SDL_PushEvent(&quit);
    return {};
  }
  const Line& line = lines_[next_++];
  framesLeft_ = line.frames;
  pushKeys(SDL_KEYDOWN);
  if (line.windowEvent != SDL_WINDOWEVENT_NONE) {
    SDL_Event event{.type = SDL_WINDOWEVENT};
    event.window.event = line.windowEvent;
    SDL_PushEvent(&event);
  }
  return line.cue;
}

// Of the line that plays.
void Script::pushKeys(Uint32 type) const {
  for (const SDL_Keycode key : lines_[next_ - 1].keys) {
    SDL_Event event{.type = type};
    event.key.keysym.sym = key;
    SDL_PushEvent(&event);
  }
}

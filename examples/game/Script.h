// A player who types what a file says: its lines become the events that keyboard and window would send, so that a
// scripted game is the very same game. A line each; "#" begins a comment:
//
//   40 Right Up        holds the keys (SDL's names of them) for 40 frames; no key: waits
//   minimize, restore  what the window's buttons would do
//   connect            waits until the collector has answered
//   screenshot FILE    saves the next picture, as BMP
//
// The game is closed at the end of the file.
#pragma once

#include <SDL.h>

#include <string>
#include <vector>

class Script {
 public:
  explicit Script(const std::string& file);  // throws std::runtime_error with the line that makes no sense

  // What the main loop has to do in this frame.
  struct Cue {
    bool connect = false;
    std::string screenshot;
  };
  Cue play();  // a frame

 private:
  struct Line {
    int frames = 1;
    std::vector<SDL_Keycode> keys;
    Uint8 windowEvent = SDL_WINDOWEVENT_NONE;
    Cue cue;
  };
  static Line read(const std::string& text);
  void pushKeys(Uint32 type) const;

  std::vector<Line> lines_;
  std::size_t next_ = 0;
  int framesLeft_ = 0;
};

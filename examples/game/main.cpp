// Coin Cave, a game that shows how one reports its play.
#include <SDL.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include "Game.h"
#include "Options.h"
#include "Painting.h"
#include "Screen.h"
#include "Script.h"
#include "Telemetry.h"

namespace {

using std::chrono::steady_clock;
constexpr auto kFrame = std::chrono::microseconds(1'000'000 / World::kStepsPerSecond);
constexpr auto kLongestConnect = std::chrono::seconds(10);

std::string folderOf(const Options& options) {
  std::string folder = options.dataDirectory;
  if (char* own = folder.empty() ? SDL_GetPrefPath("Zorvane", "Coin Cave") : nullptr) {
    folder = own;
    SDL_free(own);
  }
  std::filesystem::create_directories(folder);
  return folder;
}

// What is done with the window and the keys, as the game and its telemetry understand it.
class Controls {
 public:
  Controls(Game& game, Telemetry& telemetry) : game_(game), telemetry_(telemetry) {}

  [[nodiscard]] bool isClosed() const { return closed_; }
  [[nodiscard]] Heading heading() const {
    const auto holds = [this](SDL_Keycode key) { return held_.contains(key) ? 1 : 0; };
    return {holds(SDLK_RIGHT) - holds(SDLK_LEFT), holds(SDLK_DOWN) - holds(SDLK_UP)};
  }

  void handle(const SDL_Event& event) {
    if (event.type == SDL_QUIT) closed_ = true;
    if (event.type == SDL_WINDOWEVENT) handleWindow(event.window.event);
    if (event.type == SDL_KEYUP) held_.erase(event.key.keysym.sym);
    if (event.type == SDL_KEYDOWN && held_.insert(event.key.keysym.sym).second) press(event.key.keysym.sym);
  }

 private:
  void handleWindow(Uint8 event) {
    switch (event) {
      case SDL_WINDOWEVENT_MINIMIZED:
      case SDL_WINDOWEVENT_HIDDEN:
      case SDL_WINDOWEVENT_FOCUS_LOST:
        game_.pause();
        telemetry_.enterBackground();
        return;
      case SDL_WINDOWEVENT_RESTORED:
      case SDL_WINDOWEVENT_SHOWN:
      case SDL_WINDOWEVENT_FOCUS_GAINED: telemetry_.enterForeground(); return;
      default: return;
    }
  }

  void press(SDL_Keycode key) {
    switch (key) {
      case SDLK_UP: game_.press(Key::up); return;
      case SDLK_DOWN: game_.press(Key::down); return;
      case SDLK_RETURN: game_.press(Key::confirm); return;
      case SDLK_ESCAPE: game_.press(Key::pause); return;
      default: return;
    }
  }

  Game& game_;
  Telemetry& telemetry_;
  std::set<SDL_Keycode> held_;
  bool closed_ = false;
};

void waitForConnection(Telemetry& telemetry) {
  const auto limit = steady_clock::now() + kLongestConnect;
  while (!telemetry.isConnected() && steady_clock::now() < limit) {
    telemetry.pump();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void play(Game& game, Telemetry& telemetry, Screen& screen, std::optional<Script> script, bool ticker) {
  Controls controls(game, telemetry);
  auto due = steady_clock::now();
  while (!game.hasEnded() && !controls.isClosed()) {
    const Script::Cue cue = script ? script->play() : Script::Cue();
    if (cue.connect) waitForConnection(telemetry);
    for (SDL_Event event; SDL_PollEvent(&event) != 0;) controls.handle(event);
    telemetry.pump();
    if (!telemetry.isInBackground()) game.step(controls.heading());
    paint(game, screen);
    if (ticker) paint(telemetry.reported(), screen);
    if (!cue.screenshot.empty() && !screen.save(cue.screenshot)) std::cerr << "zorvane-game: no screenshot\n";
    screen.show();
    due = std::max(due + kFrame, steady_clock::now());
    if (!script) std::this_thread::sleep_until(due);
  }
}

void run(const Options& options, std::optional<Script> script) {
  if (SDL_Init(SDL_INIT_VIDEO) != 0) throw std::runtime_error(std::string("no video: ") + SDL_GetError());
  Screen screen("Coin Cave");
  const std::string folder = folderOf(options);
  const Game::Files files{.save = folder + "/save", .receipt = folder + "/receipt"};
  Telemetry telemetry({options.collector, folder, files.receipt, options.caFile});
  Game game(telemetry, files);
  play(game, telemetry, screen, std::move(script), options.ticker);
  telemetry.enterBackground();
}

}  // namespace

int main(int argc, char** argv) {
  int failure = 2;  // what the command line says
  try {
    const Options options = readOptions({argv + 1, argv + argc});
    if (options.help) {
      std::cout << kUsage;
      return 0;
    }
    auto script = options.script.empty() ? std::nullopt : std::optional<Script>(options.script);
    failure = 1;  // what the machine says
    run(options, std::move(script));
    SDL_Quit();
    return 0;
  } catch (const std::exception& wrong) {
    std::cerr << "zorvane-game: " << wrong.what() << '\n';
    return failure;
  }
}

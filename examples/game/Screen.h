// The window: filled rectangles and text, on a picture of 640 by 480 that grows with the window.
#pragma once

#include <SDL.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

class Screen {
 public:
  using Color = std::uint32_t;  // 0xRRGGBB, or 0xAARRGGBB with an opacity above 0
  static constexpr int kWidth = 640, kHeight = 480;

  explicit Screen(const char* title);  // throws std::runtime_error when there can be no window

  void clear(Color color);  // also the edges next to the picture
  void fill(double x, double y, double width, double height, Color color);
  void text(double x, double y, int scale, Color color, std::string_view words);  // shown in capitals
  void centered(double y, int scale, Color color, std::string_view words);
  void show();
  bool save(const std::string& bmpFile);

 private:
  void use(Color color);

  struct Close {
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
    void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
  };

  std::unique_ptr<SDL_Window, Close> window_;
  std::unique_ptr<SDL_Renderer, Close> renderer_;
};

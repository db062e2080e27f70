#include "Screen.h"

#include <cctype>
#include <iterator>
#include <stdexcept>

namespace {

constexpr int kGlyphColumns = 5, kGlyphRows = 7;

// Each character's five columns of seven dots, the left one first, the top dot lowest.
constexpr std::string_view kCharacters = " !$+,-./0123456789:>ABCDEFGHIJKLMNOPQRSTUVWXYZ*";  // the last is a heart
constexpr std::uint64_t kGlyphs[] = {
    0x0000000000, 0x00005F0000, 0x242A7F2A12, 0x08083E0808, 0x0050300000, 0x0808080808, 0x0060600000, 0x2010080402,
    0x3E5149453E, 0x00427F4000, 0x4261514946, 0x2141454B31, 0x1814127F10, 0x2745454539, 0x3C4A494930, 0x0171090503,
    0x3649494936, 0x064949291E, 0x0036360000, 0x7F3E1C0800, 0x7E1111117E, 0x7F49494936, 0x3E41414122, 0x7F4141221C,
    0x7F49494941, 0x7F09090901, 0x3E4149497A, 0x7F0808087F, 0x00417F4100, 0x2040413F01, 0x7F08142241, 0x7F40404040,
    0x7F020C027F, 0x7F0408107F, 0x3E4141413E, 0x7F09090906, 0x3E4151215E, 0x7F09192946, 0x4649494931, 0x01017F0101,
    0x3F4040403F, 0x1F2040201F, 0x3F4038403F, 0x6314081463, 0x0708700807, 0x6151494543, 0x0E1F3E1F0E};
static_assert(std::size(kGlyphs) == kCharacters.size());

bool hasDot(std::uint64_t glyph, int column, int row) {
  return (glyph >> (8 * (kGlyphColumns - 1 - column) + row) & 1U) != 0;
}

[[noreturn]] void fail(const char* what) { throw std::runtime_error(std::string(what) + ": " + SDL_GetError()); }

}  // namespace

Screen::Screen(const char* title) {
  constexpr int kAnywhere = SDL_WINDOWPOS_CENTERED;
  window_.reset(SDL_CreateWindow(title, kAnywhere, kAnywhere, kWidth, kHeight, SDL_WINDOW_RESIZABLE));
  if (!window_) fail("no window");
  renderer_.reset(SDL_CreateRenderer(window_.get(), -1, 0));
  if (!renderer_) fail("no drawing in the window");
  SDL_RenderSetLogicalSize(renderer_.get(), kWidth, kHeight);
  SDL_FlushEvent(SDL_WINDOWEVENT);  // a new renderer may hide the window for a moment, which is no background
}

void Screen::use(Color color) {
  const auto channel = [color](int shift) { return static_cast<Uint8>(color >> shift); };
  const Uint8 opacity = channel(24);
  SDL_SetRenderDrawBlendMode(renderer_.get(), opacity == 0 ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
  SDL_SetRenderDrawColor(renderer_.get(), channel(16), channel(8), channel(0), opacity);
}

void Screen::fill(double x, double y, double width, double height, Color color) {
  use(color);
  const SDL_Rect area{static_cast<int>(x), static_cast<int>(y), static_cast<int>(width), static_cast<int>(height)};
  SDL_RenderFillRect(renderer_.get(), &area);
}

void Screen::text(double x, double y, int scale, Color color, std::string_view words) {
  for (const char character : words) {
    const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    if (const auto at = kCharacters.find(upper); at != std::string_view::npos)
      for (int column = 0; column < kGlyphColumns; ++column)
        for (int row = 0; row < kGlyphRows; ++row)
          if (hasDot(kGlyphs[at], column, row)) fill(x + column * scale, y + row * scale, scale, scale, color);
    x += (kGlyphColumns + 1) * scale;
  }
}

void Screen::centered(double y, int scale, Color color, std::string_view words) {
  const int width = (static_cast<int>(words.size()) * (kGlyphColumns + 1) - 1) * scale;
  text((kWidth - width) / 2.0, y, scale, color, words);
}

void Screen::clear(Color color) {
  use(color);
  SDL_RenderClear(renderer_.get());
}

void Screen::show() { SDL_RenderPresent(renderer_.get()); }

bool Screen::save(const std::string& bmpFile) {
  int width = 0, height = 0;
  SDL_GetRendererOutputSize(renderer_.get(), &width, &height);
  const std::unique_ptr<SDL_Surface, Close> picture(
      SDL_CreateRGBSurfaceWithFormat(0, width, height, 24, SDL_PIXELFORMAT_RGB24));
  return picture &&
         SDL_RenderReadPixels(renderer_.get(), nullptr, picture->format->format, picture->pixels, picture->pitch) ==
             0 &&
         SDL_SaveBMP(picture.get(), bmpFile.c_str()) == 0;
}

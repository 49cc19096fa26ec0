#include "screenshot.h"

#include <cstdint>
#include <vector>

namespace kxsim {
namespace {

enum Ink : std::uint8_t { kWhite, kDark, kGrey, kAccent, kPale, kFrame };

constexpr std::uint32_t kPageWidth = 320;
constexpr std::uint32_t kPageHeight = 240;
constexpr std::uint32_t kWindowWidth = 360;
constexpr std::uint32_t kWindowHeight = 320;
constexpr Colour kChromeFrame{66, 113, 190};
constexpr Colour kFirefoxFrame{224, 122, 40};

std::vector<Colour> palette(Colour frame) {
  return {{255, 255, 255}, {40, 44, 52}, {176, 182, 190}, {46, 139, 87}, {232, 236, 240}, frame};
}

// A heading, lines of text and a picture beside them.
void drawPageAt(Picture& picture, std::uint32_t left, std::uint32_t top) {
  picture.fill(left, top, kPageWidth, kPageHeight, kWhite);
  picture.fill(left, top, kPageWidth, 36, kDark);
  picture.fill(left + 12, top + 12, 120, 12, kWhite);
  for (std::uint32_t line = 0; line < 10; ++line) {
    const std::uint32_t shortened = line % 5 == 4 ? 70 : line % 3 * 12;
    picture.fill(left + 16, top + 54 + line * 17, 170 - shortened, 8, kGrey);
  }
  picture.fill(left + 206, top + 54, 98, 98, kAccent);
  for (std::uint32_t step = 0; step < 49; ++step) {
    picture.fill(left + 255 - step, top + 104 + step, step * 2, 1, kPale);
  }
  picture.fill(left + 206, top + 166, 98, 24, kDark);
}

}  // namespace

Picture drawPage() {
  Picture picture(kPageWidth, kPageHeight, palette(kFirefoxFrame));
  drawPageAt(picture, 0, 0);
  return picture;
}

Picture drawBrowser(const std::string& browserType) {
  Picture picture(kWindowWidth, kWindowHeight, palette(browserType == "cr" ? kChromeFrame : kFirefoxFrame));
  picture.fill(0, 0, kWindowWidth, kWindowHeight, kFrame);
  picture.fill(20, 8, 110, 24, kPale);
  picture.fill(28, 17, 70, 6, kDark);
  picture.fill(0, 32, kWindowWidth, 34, kPale);
  picture.fill(60, 39, 250, 20, kWhite);
  picture.fill(68, 46, 150, 6, kGrey);
  picture.fill(16, 44, 10, 10, kDark);
  picture.fill(36, 44, 10, 10, kDark);
  drawPageAt(picture, 20, 66);
  return picture;
}

}  // namespace kxsim

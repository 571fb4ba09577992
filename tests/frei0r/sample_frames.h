#pragma once
// Frames that exercise the effect: a dark, partly transparent background
// with bright shapes that move from frame to frame, red and blue unequal
// everywhere so that a swapped channel order shows.

#include <cstdint>
#include <vector>

namespace Frei0rTests {

inline std::vector<unsigned char> sampleFrame(std::int32_t width, std::int32_t height, std::int32_t number) {
  std::vector<unsigned char> bgra(std::size_t(width) * std::size_t(height) * 4);
  for (std::int32_t y = 0; y < height; ++y)
    for (std::int32_t x = 0; x < width; ++x) {
      unsigned char* pixel = &bgra[(std::size_t(y) * std::size_t(width) + std::size_t(x)) * 4];
      const std::int32_t dx = x - (number * 5) % width, dy = y - height / 2;
      const bool bright = dx * dx + dy * dy < (height / 4) * (height / 4) || (x + 2 * y + number) % 23 < 3;
      const unsigned red = bright ? 250 - unsigned(x % 7) : unsigned(20 + x % 40);
      const unsigned green = bright ? 230 : unsigned(10 + y % 30);
      const unsigned blue = bright ? 120 + unsigned(y % 50) : unsigned(60 + (x + y) % 50);
      pixel[0] = std::uint8_t(blue);
      pixel[1] = std::uint8_t(green);
      pixel[2] = std::uint8_t(red);
      pixel[3] = std::uint8_t(bright ? 255 : 96 + (x * 3 + y) % 120);
    }
  return bgra;
}

}  // namespace Frei0rTests

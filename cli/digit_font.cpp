#include "cli/digit_font.h"

namespace StrobeQuirk::Cli {
namespace {

// One row per entry, the top row first; bit 2 is the left column.
constexpr std::uint8_t kDigits[10][kGlyphHeight] = {
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7},
};
constexpr std::uint8_t kMinus[kGlyphHeight] = {0, 0, 7, 0, 0};

}  // namespace

bool glyphInked(char c, int x, int y) {
  if (x < 0 || x >= kGlyphWidth || y < 0 || y >= kGlyphHeight) return false;
  const std::uint8_t* rows = c >= '0' && c <= '9' ? kDigits[c - '0'] : c == '-' ? kMinus : nullptr;
  return rows && (rows[y] >> (kGlyphWidth - 1 - x) & 1) != 0;
}

}  // namespace StrobeQuirk::Cli

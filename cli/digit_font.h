#pragma once
// A tiny built-in font for frame numbers on contact sheets: the ten digits
// and a minus sign, 3x5 cells, so that no font file is needed.

#include <cstdint>
#include <string>

namespace StrobeQuirk::Cli {

inline constexpr int kGlyphWidth = 3, kGlyphHeight = 5;

// Whether the cell (x, y) of the glyph for `c` is inked; characters other
// than 0-9 and '-' are blank.
bool glyphInked(char c, int x, int y);

// The width in cells of `text` set with one blank column between glyphs.
inline int textWidth(const std::string& text) {
  return text.empty() ? 0 : int(text.size()) * (kGlyphWidth + 1) - 1;
}

}  // namespace StrobeQuirk::Cli

// The pieces behind image files, the progress bar and contact sheets, in
// every build: component scaling against the exact formulas, the bar's
// text, and a sheet's layout, checkerboard and numbers.

#include <cmath>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "cli/command.h"
#include "cli/contact_sheet.h"
#include "cli/digit_font.h"
#include "cli/file_components.h"
#include "cli/frame_pattern.h"
#include "cli/progress_bar.h"

namespace StrobeQuirk::Cli {
namespace {

TEST(FileComponentsTest, SixteenBitScalingRoundsToNearestAndKeepsEveryEffectValue) {
  for (std::uint32_t stored = 0; stored <= 65535; ++stored) {
    const double exact = double(stored) * 32768.0 / 65535.0;
    ASSERT_EQ(effect16FromFile16(std::uint16_t(stored)), std::uint16_t(std::floor(exact + 0.5))) << stored;
  }
  for (std::uint32_t value = 0; value <= 32768; ++value) {
    const std::uint16_t stored = file16FromEffect16(std::uint16_t(value));
    ASSERT_EQ(stored, std::uint16_t(std::floor(double(value) * 65535.0 / 32768.0 + 0.5))) << value;
    ASSERT_EQ(effect16FromFile16(stored), value) << "a round trip from the effect's side loses nothing";
    ASSERT_EQ(file8FromEffect16(std::uint16_t(value)), std::uint8_t(std::floor(double(value) * 255.0 / 32768.0 + 0.5)));
  }
  EXPECT_EQ(file16FromEffect16(40000), 65535) << "past white counts as white";
  EXPECT_EQ(file16FromEffect8(255), 65535);
  EXPECT_EQ(file16FromEffect8(1), 257);
}

TEST(FileComponentsTest, FloatsAreHeldToZeroToOneAndRounded) {
  EXPECT_EQ(file8FromFloat(-0.5f), 0);
  EXPECT_EQ(file8FromFloat(std::nanf("")), 0);
  EXPECT_EQ(file8FromFloat(7.0f), 255);
  EXPECT_EQ(file8FromFloat(0.5f), 128);  // 127.5: ties up
  EXPECT_EQ(file16FromFloat(0.5f), 32768);
  for (int value = 0; value <= 255; ++value) ASSERT_EQ(file8FromFloat(floatFromEffect8(std::uint8_t(value))), value);
  EXPECT_EQ(floatFromEffect16(32768), 1.0f);
}

TEST(ProgressBarTest, TellsFramesRateAndTimeLeftWithin79Columns) {
  EXPECT_EQ(progressLine(0, 48, 0.0), "frames 0/48 [" + std::string(40, '.') + "]");
  const std::string half = progressLine(24, 48, 8.0);
  EXPECT_NE(half.find("frames 24/48 ["), std::string::npos) << half;
  EXPECT_NE(half.find("]  3.0 fps  0:08 left"), std::string::npos) << half;
  EXPECT_NE(half.find(std::string(20, '#') + std::string(20, '.')), std::string::npos) << half;
  // Hours stay minutes: 16777215 s is 279620 minutes and 15 s.
  EXPECT_NE(progressLine(1, 16777216, 1.0).find("279620:15 left"), std::string::npos);
  for (std::int64_t done : {0, 1, 47, 48}) EXPECT_LE(progressLine(done, 48, 3.0).size(), 79u);
  EXPECT_LE(progressLine(5, 33554433, 1.0).size(), 79u);
}

TEST(ProgressBarTest, DrawsNothingWhereItIsNotShown) {
  std::ostringstream quiet, shown;
  {
    ProgressBar bar(3, quiet, false);
    bar.frameDone();
  }
  EXPECT_EQ(quiet.str(), "");
  {
    ProgressBar bar(3, shown, true);
    bar.frameDone();
  }
  EXPECT_NE(shown.str().find("\rframes 1/3 ["), std::string::npos);
  EXPECT_EQ(shown.str().substr(shown.str().size() - 4), "\r\033[K") << "the line is taken away at the end";
}

TEST(FramePatternTest, RunsOfHashesNumberFramesZeroPadded) {
  EXPECT_EQ(FramePattern("out/####.png", "OUT_PATTERN").path(7), "out/0007.png");
  EXPECT_EQ(FramePattern("f#.exr", "OUT_PATTERN").path(-12), "f-12.exr");
  EXPECT_EQ(FramePattern("a.#########", "OUT_PATTERN").path(5), "a.000000005");
  EXPECT_TRUE(FramePattern::looksLikePattern("clip/##.png"));
  for (const char* text : {"##/##.png", "%d_#.png", "##########.png"})
    EXPECT_THROW(FramePattern(text, "OUT_PATTERN"), UsageError) << text;
}

TEST(ContactSheetTest, TilesShowTheirFramesOverACheckerboardWithTheirNumbers) {
  const RawFormat& format = rawFormat("argb16");
  const Size size{32, 16};
  // Left half opaque red, right half transparent.
  Frame frame{&format, size, std::vector<unsigned char>(rawBytes(format, size))};
  auto* components = reinterpret_cast<std::uint16_t*>(frame.bytes.data());
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width / 2; ++x) {
      components[(y * size.width + x) * 4] = 32768;
      components[(y * size.width + x) * 4 + 1] = 32768;
    }
  ContactSheet sheet(3, size, 2, 2);
  EXPECT_EQ(sheet.tileSize().width, 16);
  EXPECT_EQ(sheet.size().width, 4 + 2 * (16 + 4));
  EXPECT_EQ(sheet.size().height, 4 + 2 * (8 + ContactSheet::kLabelHeight + 4));
  sheet.place(2, -7, frame);
  const Frame& out = sheet.sheet();
  auto pixel = [&](int x, int y) { return out.bytes.data() + (std::size_t(y) * std::size_t(out.size.width) + std::size_t(x)) * 4; };
  const int top = 4 + 8 + ContactSheet::kLabelHeight + 4;  // the second row
  EXPECT_EQ(pixel(4, top)[0], 255);
  EXPECT_EQ(pixel(4, top)[1], 255) << "opaque red";
  EXPECT_EQ(pixel(4, top)[2], 0);
  // Transparent: the checkerboard's two greys, equal in R, G and B.
  const unsigned char* grey = pixel(4 + 8, top);
  EXPECT_EQ(grey[1], grey[2]);
  EXPECT_EQ(grey[2], grey[3]);
  EXPECT_GT(grey[1], 100);
  // The label "-7" is inked below the tile, and the first tile's place is
  // left as background.
  int inked = 0;
  for (int y = top + 8; y < top + 8 + ContactSheet::kLabelHeight; ++y)
    for (int x = 4; x < 20; ++x) inked += pixel(x, y)[1] > 200;
  // '-' inks 3 cells and '7' 7, each kLabelScale pixels square.
  EXPECT_EQ(inked, (3 + 7) * ContactSheet::kLabelScale * ContactSheet::kLabelScale);
  EXPECT_EQ(pixel(8, 8)[1], pixel(0, 0)[1]);
}

TEST(DigitFontTest, EveryDigitIsDistinctAndOtherCharactersAreBlank) {
  std::set<std::string> shapes;
  for (char c : std::string("0123456789-")) {
    std::string shape;
    for (int y = 0; y < kGlyphHeight; ++y)
      for (int x = 0; x < kGlyphWidth; ++x) shape += glyphInked(c, x, y) ? '#' : '.';
    shapes.insert(shape);
  }
  EXPECT_EQ(shapes.size(), 11u);
  EXPECT_FALSE(glyphInked('x', 1, 1));
  EXPECT_FALSE(glyphInked('8', 3, 0));
  EXPECT_EQ(textWidth("-12"), 11);
}

}  // namespace
}  // namespace StrobeQuirk::Cli

// Numbers and sizes on the command line: whole, decimal and finite, or refused.

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "cli/command.h"
#include "cli/raw_image.h"

namespace StrobeQuirk::Cli {
namespace {

TEST(OptionParsingTest, DecimalNumbersInEveryUsualSpelling) {
  EXPECT_EQ(parseNumber("3", "--x"), 3.0);
  EXPECT_EQ(parseNumber("-0.25", "--x"), -0.25);
  EXPECT_EQ(parseNumber(".5", "--x"), 0.5);
  EXPECT_EQ(parseNumber("5.", "--x"), 5.0);
  EXPECT_EQ(parseNumber("007", "--x"), 7.0);
  EXPECT_EQ(parseNumber("1.5e3", "--x"), 1500.0);
  EXPECT_EQ(parseNumber("2E-2", "--x"), 0.02);
  EXPECT_EQ(parseNumber("1e+2", "--x"), 100.0);
  // Too small to hold rounds toward zero; it is still a finite number.
  EXPECT_EQ(parseNumber("1e-400", "--x"), 0.0);
  EXPECT_TRUE(std::signbit(parseNumber("-0", "--x")));
  EXPECT_EQ(parseNumber("1e300", "--x"), 1e300);
  EXPECT_EQ(parseFloat("3.4e38", "--x"), 3.4e38f);
  EXPECT_EQ(parseInteger("-12", "--x"), -12);
  EXPECT_EQ(parseInteger("0042", "--x"), 42);
}

TEST(OptionParsingTest, RefusesWhatIsNotAWholeFiniteDecimal) {
  const char* const notNumbers[] = {
      "",     " 1",  "1 ",  "+1",   "0x10", "0X1p3", "nan",  "NaN", "-nan", "inf", "-inf",
      "infinity", "1e",  "1e+", "e5",   ".",    "-",     "--1",  "1.2.3", "1,5", "½",   "1e5x",
  };
  for (const char* text : notNumbers) {
    EXPECT_THROW(parseNumber(text, "--x"), UsageError) << '"' << text << '"';
    EXPECT_THROW(parseFloat(text, "--x"), UsageError) << '"' << text << '"';
  }
  // Finite in text, infinite once read.
  EXPECT_THROW(parseNumber("1e309", "--x"), UsageError);
  EXPECT_THROW(parseNumber("-1e99999", "--x"), UsageError);
  EXPECT_THROW(parseFloat("3.5e38", "--x"), UsageError);
  EXPECT_THROW(parseFloat("-1e300", "--x"), UsageError);

  const char* const notIntegers[] = {"", "1.0", "1e3", "+3", " 3", "0x10", "3 ", "-", "nan", "99999999999999999999"};
  for (const char* text : notIntegers) EXPECT_THROW(parseInteger(text, "--x"), UsageError) << '"' << text << '"';

  try {
    parseNumber("0x10", "--sigma-x");
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), "not a finite decimal number for --sigma-x: 0x10");
  }
}

TEST(OptionParsingTest, SizesAreTwoDecimalSidesWithinTheFrameLimit) {
  const RawFormat& argb8 = rawFormat("argb8");
  const RawFormat& argb32 = rawFormat("argb32");
  const Size size = parseSize("0640x480", argb8);
  EXPECT_EQ(size.width, 640);
  EXPECT_EQ(size.height, 480);
  EXPECT_EQ(parseSize("32768x1", argb32).width, kMaxFrameSide);

  for (const char* text : {"10", "x10", "10x", "+10x10", " 10x10", "10x 10", "10x10 ", "-1x10", "0x10x10", "10X10",
                           "1e2x10", "10x10x", "99999999999x1"})
    EXPECT_THROW(parseSize(text, argb8), UsageError) << '"' << text << '"';
  for (const char* text : {"0x10", "10x0", "32769x1", "1x32769", "65536x65536"})
    EXPECT_THROW(parseSize(text, argb8), UsageError) << text;

  // The byte limit depends on the format: 16 bytes a pixel at 32 bits.
  const std::uint64_t pixels = kMaxFrameBytes / 16;
  const std::int32_t width = 8192, height = std::int32_t(pixels / 8192);
  EXPECT_NO_THROW(checkFrameBytes(argb32, {width, height}));
  EXPECT_THROW(checkFrameBytes(argb32, {width, height + 1}), UsageError);
  EXPECT_NO_THROW(checkFrameBytes(argb8, {width, height + 1}));
  // Sides that would wrap a 32-bit byte count.
  EXPECT_THROW(checkFrameBytes(argb32, {32768, 32768}), UsageError);
  EXPECT_THROW(parseSize("16384x16384", argb32), UsageError);

  try {
    parseSize("0x10x10", argb8);
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), "size must be WxH, two decimal numbers: 0x10x10");
  }
}

}  // namespace
}  // namespace StrobeQuirk::Cli

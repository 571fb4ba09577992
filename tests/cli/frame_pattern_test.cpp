// Frame ranges and file-name patterns, as the tool reads them.

#include <string>

#include <gtest/gtest.h>

#include "cli/command.h"
#include "cli/frame_pattern.h"

namespace StrobeQuirk::Cli {
namespace {

TEST(FramePatternTest, NamesEachFrameAsPrintfWould) {
  const FramePattern padded("out/frame.%04d.raw", "OUT_PATTERN");
  EXPECT_EQ(padded.path(0), "out/frame.0000.raw");
  EXPECT_EQ(padded.path(47), "out/frame.0047.raw");
  EXPECT_EQ(padded.path(123456), "out/frame.123456.raw");  // wider than the padding: all digits
  EXPECT_EQ(padded.path(-5), "out/frame.-005.raw");         // the sign takes one place
  EXPECT_EQ(padded.path(-16777216), "out/frame.-16777216.raw");
  const FramePattern plain("%d", "OUT_PATTERN");
  EXPECT_EQ(plain.path(7), "7");
  EXPECT_EQ(plain.path(-7), "-7");
  const FramePattern percent("100%%/%%%02d%%.raw", "OUT_PATTERN");
  EXPECT_EQ(percent.path(3), "100%/%03%.raw");
  EXPECT_EQ(FramePattern("a%09db", "X").path(1), "a000000001b");
}

TEST(FramePatternTest, RefusesAnythingButOneFrameNumber) {
  const struct {
    const char* text;
    const char* says;
  } refused[] = {
      {"out.raw", "has no place for the frame number"},
      {"100%%.raw", "has no place for the frame number"},
      {"%d/%d.raw", "numbers the frame twice"},
      {"%s.raw", "has a % that is not %d, %0Nd or %%"},
      {"%4d.raw", "has a % that is not"},   // blank padding
      {"%00d.raw", "has a % that is not"},  // no width
      {"%010d.raw", "has a % that is not"},  // wider than 9
      {"%ld.raw", "has a % that is not"},
      {"frame%", "has a % that is not"},
      {"frame%0", "has a % that is not"},
      {"frame%04", "has a % that is not"},
  };
  for (const auto& item : refused) {
    try {
      FramePattern pattern(item.text, "OUT_PATTERN");
      ADD_FAILURE() << item.text << " was taken";
    } catch (const UsageError& error) {
      const std::string message = error.what();
      EXPECT_EQ(message.rfind(std::string("OUT_PATTERN ") + item.text + " ", 0), 0u) << message;
      EXPECT_NE(message.find(item.says), std::string::npos) << message;
    }
  }
  EXPECT_TRUE(FramePattern::looksLikePattern("a%b"));
  EXPECT_FALSE(FramePattern::looksLikePattern("frames/0001.raw"));
}

TEST(FrameRangeTest, RangesSingleFramesAndNegativeNumbers) {
  auto range = [](const char* text) {
    const FrameRange parsed = parseFrameRange(text, "--frames");
    return std::to_string(parsed.first) + ".." + std::to_string(parsed.last);
  };
  EXPECT_EQ(range("0-47"), "0..47");
  EXPECT_EQ(range("12"), "12..12");
  EXPECT_EQ(range("-3"), "-3..-3");
  EXPECT_EQ(range("-5--1"), "-5..-1");
  EXPECT_EQ(range("-2-2"), "-2..2");
  EXPECT_EQ(range("7-7"), "7..7");
  EXPECT_EQ(range("-16777216-16777216"), "-16777216..16777216");
  for (const char* text : {"", "-", "1-", "-1-", "a-b", "1-2-3", "1--", "+1-2", "1.5-2", "1 - 2", "5-2", "0-16777217",
                           "-16777217-0"})
    EXPECT_THROW(parseFrameRange(text, "--frames"), UsageError) << '"' << text << '"';
  EXPECT_EQ(parseFrameNumber("16777216", "--frame"), 16777216);
  EXPECT_THROW(parseFrameNumber("16777217", "--frame"), UsageError);
}

}  // namespace
}  // namespace StrobeQuirk::Cli

// strobe-quirk render and the sample clip, run as a user runs them: the same
// bytes on any number of threads, frame ranges equal to single frames
// however they are split, the controls as the application holds them, and
// bad input refused with nothing written.

#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tool_process.h"

namespace StrobeQuirk::Testing {
namespace {

namespace fs = std::filesystem;

// Small frames of the sample clip, in two formats.
class RenderCommandTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped()) return;
    fs::create_directory(dir_ / "clip");
    ASSERT_EQ(run("sample --frames 0-7 --format argb8 --size 40x24 " + file("clip/%02d.raw")).status, 0);
    ASSERT_EQ(run("sample --frames 0-0 --format argb32 --size 40x24 " + file("float%d.raw")).status, 0);
  }
  // Renders and returns the output's bytes, failing the test on any error.
  std::string render(const std::string& options, const std::string& in, const std::string& format = "argb8") {
    const Outcome outcome = run("render " + options + " --format " + format + " --size 40x24 " + in + " " +
                                file("out.raw"));
    EXPECT_EQ(outcome.status, 0) << options << ": " << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return readFile(file("out.raw"));
  }
  std::string clipFrame(int frame) const {
    return file("clip/" + std::string(frame < 10 ? "0" : "") + std::to_string(frame) + ".raw");
  }
};

TEST_F(RenderCommandTest, TheSameBytesOnOneTwoAndFiveThreads) {
  for (const std::string format : {"argb8", "argb32"}) {
    const std::string in = format == "argb8" ? clipFrame(1) : file("float0.raw");
    const std::string one = render("--frame 0 --threads 1", in, format);
    ASSERT_EQ(one.size(), format == "argb8" ? 40u * 24 * 4 : 40u * 24 * 16);
    EXPECT_EQ(render("--frame 0 --threads 2", in, format), one) << format;
    EXPECT_EQ(render("--frame 0 --threads 5", in, format), one) << format;
    EXPECT_EQ(render("--frame 0 --threads 5 --cpu scalar", in, format), render("--frame 0 --threads 1 --cpu scalar", in, format));
    EXPECT_NE(render("--frame 3 --threads 2", in, format), one) << "a gap looks like a pulse";
  }
}

TEST_F(RenderCommandTest, RangesGiveTheBytesOfSingleFramesHoweverTheyAreSplit) {
  for (const char* folder : {"whole", "split", "fixed"}) fs::create_directory(dir_ / folder);
  const std::string common = " --format argb8 --size 40x24 " + file("clip/%02d.raw") + " ";
  ASSERT_EQ(run("render --frames 0-7" + common + file("whole/%d.raw")).status, 0);
  // The later part first, in another process: nothing carries over.
  ASSERT_EQ(run("render --frames 5-7 --threads 3" + common + file("split/%d.raw")).status, 0);
  ASSERT_EQ(run("render --frames 0-4 --threads 1" + common + file("split/%d.raw")).status, 0);
  for (int frame = 0; frame <= 7; ++frame) {
    const std::string whole = readFile(file("whole/" + std::to_string(frame) + ".raw"));
    ASSERT_EQ(whole.size(), 40u * 24 * 4) << frame;
    EXPECT_EQ(readFile(file("split/" + std::to_string(frame) + ".raw")), whole) << frame;
    if (frame == 2 || frame == 5) {
      EXPECT_EQ(render("--frame " + std::to_string(frame), clipFrame(frame)), whole);
    }
  }
  // One layer for every frame of a range.
  ASSERT_EQ(run("render --frames 4-6 --format argb8 --size 40x24 " + clipFrame(1) + " " + file("fixed/%03d.raw")).status, 0);
  EXPECT_EQ(readFile(file("fixed/005.raw")), render("--frame 5", clipFrame(1)));
  EXPECT_FALSE(fs::exists(dir_ / "fixed" / "003.raw"));
}

TEST_F(RenderCommandTest, ControlsAreHeldToTheirRangesAndDownsampleFactorsPassAsTheyStand) {
  const std::string in = clipFrame(2);
  // Frame 5 pulses at a quirk time of 3, and is in the first gap at 100.
  const std::string at100 = render("--frame 5 --quirk-time 100", in);
  EXPECT_NE(at100, render("--frame 5", in));
  EXPECT_EQ(render("--frame 5 --quirk-time 250", in), at100);
  EXPECT_EQ(render("--frame 5 --quirk-time 1e300", in), at100);
  EXPECT_EQ(render("--frame 7 --random-quirk -5", in), render("--frame 7 --random-quirk 0", in));
  EXPECT_EQ(render("--frame 7 --random-quirk 400 --quirk-time 4", in),
            render("--frame 7 --random-quirk 100 --quirk-time 4", in));

  const std::string full = render("--frame 0", in);
  EXPECT_NE(render("--frame 0 --downsample-x 1/2", in), full);
  EXPECT_NE(render("--frame 0 --downsample-x 1/2", in), render("--frame 0 --downsample-y 1/2", in));
  // Factors without a meaning act as 1.
  EXPECT_EQ(render("--frame 0 --downsample-x 0/0 --downsample-y -2147483648/4294967295", in), full);
  EXPECT_EQ(render("--frame 0 --downsample-x 3/0 --downsample-y 7/7", in), full);

  // The check boxes: unmasked passes a pulse through and clears a gap.
  EXPECT_EQ(render("--frame 6 --unmasked", in), readFile(in));
  EXPECT_EQ(render("--frame 4 --unmasked", in), std::string(40 * 24 * 4, '\0'));
  EXPECT_NE(render("--frame 0 --increase-quirky", in), full);
}

TEST_F(RenderCommandTest, BadInputIsRefusedWithNothingWritten) {
  write("short.raw", std::string(100, 'x'));
  for (int frame : {0, 1, 3}) fs::copy_file(clipFrame(frame), dir_ / ("seq" + std::to_string(frame) + ".raw"));
  const std::string size = " --format argb8 --size 40x24 ";
  const std::string one = size + clipFrame(0) + " " + file("out.raw");
  const std::string range = size + file("seq%d.raw") + " " + file("out%d.raw");
  const struct {
    std::string arguments, says;
  } cases[] = {
      {"render" + one, "give either --frame N or --frames A-B"},
      {"render --frame 1 --frames 1-2" + one, "give either --frame N or --frames A-B"},
      {"render --frame 1.5" + one, "not a decimal integer for --frame: 1.5"},
      {"render --frame 16777217" + one, "--frame out of range: 16777217 (frames -16777216 to 16777216)"},
      {"render --frames 5-2" + range, "--frames runs backwards: 5-2"},
      {"render --frame 0 --quirk-time nan" + one, "for --quirk-time: nan"},
      {"render --frame 0 --random-quirk 1e999" + one, "--random-quirk out of range"},
      {"render --frame 0 --downsample-x 1" + one, "--downsample-x must be NUM/DEN, NUM from"},
      {"render --frame 0 --downsample-x 1/-2" + one, "--downsample-x must be NUM/DEN, NUM from"},
      {"render --frame 0 --downsample-y 2147483648/1" + one, "--downsample-y must be NUM/DEN, NUM from"},
      {"render --frame 0 --downsample-y 1/4294967296" + one, "DEN from 0 to 4294967295: 1/4294967296"},
      {"render --frame 0 --downsample-y +1/2" + one, "DEN from 0 to 4294967295: +1/2"},
      {"render --frame 0 --downsample-y 1/2/3" + one, "DEN from 0 to 4294967295: 1/2/3"},
      {"render --frame 0 --downsample-y -/2" + one, "DEN from 0 to 4294967295: -/2"},
      {"render --frame 0 --threads 0" + one, "--threads must be 1 to 256"},
      {"render --frame 0 --cpu avx" + one, "unknown --cpu level avx"},
      {"render --frame 0 --increase-quirky yes" + one, "expected IN and OUT"},
      {"render --frame 0 --plugin " + file("short.raw") + one, "cannot load the plug-in " + file("short.raw")},
      {"render --frame 0" + size + file("short.raw") + " " + file("out.raw"), "short.raw holds 100 bytes"},
      {"render --frame 0" + size + clipFrame(0) + " " + clipFrame(0), "it is the same file as the input"},
      {"render --frames 0-1" + size + clipFrame(0) + " " + file("out.raw"), "OUT_PATTERN " + file("out.raw") + " has no place"},
      {"render --frames 0-1" + size + file("in%d%d.raw") + " " + file("out%d.raw"), "IN_PATTERN " + file("in%d%d.raw")},
      // Every input frame is looked at before anything is written.
      {"render --frames 0-3" + range, "cannot read " + file("seq2.raw") + ": no such file"},
      {"render --frames 0-1" + size + file("seq%d.raw") + " " + file("seq%d.raw"), "it is the same file as the input"},
      {"sample --frames 0-1 --format argb8 --size 4x4 " + file("one.raw"), "OUT_PATTERN " + file("one.raw")},
      {"sample --frames 2-1 --format argb8 --size 4x4 " + file("%d.raw"), "--frames runs backwards"},
  };
  for (const auto& refused : cases) expectRefused(refused.arguments, refused.says);

  // Frame 1's output would be frame -1's input.
  for (const char* name : {"s-1.raw", "s0.raw", "s1.raw"}) fs::copy_file(clipFrame(4), dir_ / name);
  expectRefused("render --frames -1-1" + size + file("s%d.raw") + " " + file("s-%d.raw"),
                "cannot write " + file("s-1.raw") + ": it is one of the input frames");
}

TEST_F(RenderCommandTest, TheSampleClipLoopsOverFortyEightDistinctFrames) {
  fs::create_directory(dir_ / "a");
  fs::create_directory(dir_ / "b");
  const std::string size = " --format argb8 --size 64x36 ";
  const Outcome made = run("sample --frames 0-47" + size + file("a/%02d.raw"));
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_NE(made.out.find("a/00.raw ... "), std::string::npos) << made.out;
  ASSERT_EQ(run("sample --frames 40-48" + size + file("b/%02d.raw")).status, 0);
  EXPECT_EQ(readFile(file("b/48.raw")), readFile(file("a/00.raw")));
  EXPECT_EQ(readFile(file("b/41.raw")), readFile(file("a/41.raw")));

  std::set<std::string> frames;
  for (int frame = 0; frame < 48; ++frame) {
    const std::string name = std::string(frame < 10 ? "a/0" : "a/") + std::to_string(frame) + ".raw";
    const std::string bytes = readFile(file(name));
    ASSERT_EQ(bytes.size(), 64u * 36 * 4);
    frames.insert(bytes);
    // Something bright in every frame; a dark background, transparent in
    // part at the sides.
    int bright = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
      const auto channel = [&](std::size_t c) { return static_cast<unsigned char>(bytes[i + c]); };
      if (channel(1) > 200 || channel(2) > 200 || channel(3) > 200) ++bright;
    }
    EXPECT_GT(bright, 20) << name;
    const auto at = [&](int x, int y, int c) { return static_cast<unsigned char>(bytes[std::size_t(y * 64 + x) * 4 + std::size_t(c)]); };
    EXPECT_LT(at(0, 35, 0), 160) << name;  // alpha at a lower corner
    EXPECT_LT(std::max({at(0, 35, 1), at(0, 35, 2), at(0, 35, 3)}), 28) << name;  // below the effect's threshold
  }
  EXPECT_EQ(frames.size(), 48u);
}

}  // namespace
}  // namespace StrobeQuirk::Testing

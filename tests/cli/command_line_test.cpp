// Bad input on the command line, tried as a user would: every case ends with
// exit status 2, one line on stderr and the folder as it was. Then the ways
// OUT is written: through links, beside files of any name, all or nothing.

#include <sys/stat.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tool_process.h"

namespace StrobeQuirk::Testing {
namespace {

namespace fs = std::filesystem;

class CommandLineTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped()) return;
    ASSERT_EQ(run("sample --format argb8 --size 4x4 " + file("in.raw")).status, 0);
    sample_ = readFile(file("in.raw"));
    ASSERT_EQ(sample_.size(), 64u);
  }
  std::string sample_;
};

TEST_F(CommandLineTest, NumbersMustBeWholeFiniteDecimals) {
  const std::string image = " --format argb8 --size 4x4 " + file("in.raw") + " " + file("out.raw");
  const struct {
    std::string arguments, says;
  } cases[] = {
      {"filter balance --gamma nan" + image, "for --gamma: nan"},
      {"filter balance --out-white nan" + image, "for --out-white: nan"},
      {"filter balance --in-black -inf" + image, "for --in-black: -inf"},
      {"filter balance --out-black 1e39" + image, "--out-black out of range: 1e39"},
      {"filter hsvcc --hue-shift nan" + image, "for --hue-shift: nan"},
      {"filter hsvcc --saturation inf" + image, "for --saturation: inf"},
      {"filter hsvcc --value ' 1'" + image, "for --value:  1"},
      {"filter blur --sigma-x 0x10 --sigma-y 1" + image, "for --sigma-x: 0x10"},
      {"filter blur --sigma-x 1 --sigma-y 1 --order-x +1" + image, "for --order-x: +1"},
      {"filter premult --threads 0x2" + image, "for --threads: 0x2"},
      {"schedule --quirk-time nan --first 0 --last 3", "for --quirk-time: nan"},
      {"schedule --random-quirk inf --first 0 --last 3", "for --random-quirk: inf"},
      {"schedule --first 1.5 --last 3", "for --first: 1.5"},
      {"schedule --first 0 --last 99999999999", "--last out of range"},
      {"preset write " + file("out.txt") + " --quirk-time infinity", "for --quirk-time: infinity"},
  };
  for (const auto& refused : cases) expectRefused(refused.arguments, refused.says);
}

TEST_F(CommandLineTest, SizesAndTheFrameLimit) {
  const std::string out = " " + file("out.raw");
  expectRefused("sample --format argb8 --size +10x10" + out, "size must be WxH, two decimal numbers: +10x10");
  expectRefused("sample --format argb8 --size ' 10x10'" + out, "two decimal numbers:  10x10");
  expectRefused("sample --format argb8 --size 0x10x10" + out, "two decimal numbers: 0x10x10");
  expectRefused("sample --format argb8 --size 0x10" + out, "size out of range: 0x10 (each side 1 to 32768)");
  // Refused before any allocation, in the 32-bit build too, where the byte
  // count of these sizes wraps around.
  expectRefused("sample --format argb32 --size 65536x65536" + out, "each side 1 to 32768");
  expectRefused("sample --format argb32 --size 16384x16384" + out, "frame takes 4294967296 bytes, over the limit");
  expectRefused("sample --format argb8 --size 32768x32768" + out, "frame takes 4294967296 bytes, over the limit");
  expectRefused("sample --format argb8 --size 16385x16384" + out, "over the limit");
  // Within the limit as argb8, not as argb32.
  expectRefused("convert --format argb8 --to argb32 --size 16384x16384 " + file("in.raw") + out, "over the limit");
}

TEST_F(CommandLineTest, OnlyWhatEachCommandTakes) {
  expectRefused("--version extra", "--version takes nothing after it: extra");
  expectRefused("--help extra", "--help takes nothing after it");
  expectRefused("sample --format argb8 --size 4x4 --size 4x4 " + file("out.raw"), "option --size given twice");
  EXPECT_EQ(run("--version").status, 0);
}

TEST_F(CommandLineTest, InputsThatAreNotTheFrame) {
  const std::string convert = "convert --format argb8 --to argb8 --size 4x4 ";
  fs::create_directory(dir_ / "folder.raw");
  write("short.raw", sample_.substr(1));
  expectRefused(convert + file("folder.raw") + " " + file("out.raw"), "cannot read " + file("folder.raw") + ": is a directory");
  expectRefused(convert + file("missing.raw") + " " + file("out.raw"), ": no such file");
  expectRefused(convert + file("short.raw") + " " + file("out.raw"),
                "short.raw holds 63 bytes, not the 64 of a 4x4 argb8 frame");
  // A pipe has no length to check first: reading stops one byte past the frame.
  expectRefused(convert + "/dev/stdin " + file("out.raw"), "/dev/stdin holds more bytes, not the 64",
                "head -c 100000 /dev/zero |");
  expectRefused("preset read " + file("folder.raw"), "is a directory");

  const Outcome piped = run(convert + "/dev/stdin " + file("out.raw"), "cat '" + file("in.raw") + "' |");
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(readFile(file("out.raw")), sample_);
}

TEST_F(CommandLineTest, OutputsThatMustNotBeWritten) {
  const std::string filter = "filter premult --format argb8 --size 4x4 " + file("in.raw") + " ";
  fs::create_directory(dir_ / "folder.raw");
  ASSERT_EQ(mkfifo(file("fifo.raw").c_str(), 0644), 0);
  fs::create_hard_link(file("in.raw"), file("hard.raw"));
  fs::create_symlink("in.raw", file("soft.raw"));
  fs::create_symlink("loop.raw", file("loop.raw"));
  write("plain.raw", "x");

  expectRefused(filter + file("folder.raw"), "cannot write " + file("folder.raw") + ": is a directory");
  expectRefused(filter + file("fifo.raw"), "fifo.raw: not a regular file");
  expectRefused("sample --format argb8 --size 4x4 /dev/null", "/dev/null: not a regular file");
  expectRefused(filter + file("in.raw"), "it is the same file as the input");
  expectRefused(filter + file("hard.raw"), "it is the same file as the input");
  expectRefused(filter + file("soft.raw"), "it is the same file as the input");
  expectRefused("convert --format argb8 --to bgra8 --size 4x4 " + file("soft.raw") + " " + file("in.raw"),
                "it is the same file as the input");
  expectRefused(filter + file("loop.raw"), "too many levels of symbolic links");
  expectRefused(filter + file("nowhere/out.raw"), "no such folder");
  expectRefused(filter + file("plain.raw") + "/out.raw", "not a directory");
  expectRefused("preset write " + file("folder.raw"), "is a directory");
}

TEST_F(CommandLineTest, WritesFollowLinksAndLeaveOtherNamesAlone) {
  // Names a temporary might have had, a file and a folder: both stay.
  write("out.raw.partial", "mine");
  fs::create_directory(dir_ / ".out.raw.partial");
  fs::create_symlink("target.raw", file("link.raw"));
  fs::create_symlink("sub/new.raw", file("dangling.raw"));
  fs::create_directory(dir_ / "sub");
  write("private.raw", "old");
  ASSERT_EQ(chmod(file("private.raw").c_str(), 0600), 0);
  const std::string sample = "sample --format argb8 --size 4x4 ";

  for (const char* name : {"out.raw", "link.raw", "dangling.raw", "private.raw"})
    ASSERT_EQ(run(sample + file(name)).status, 0) << name;
  EXPECT_EQ(listing(), (std::set<std::string>{
                           ".out.raw.partial (other)",
                           "dangling.raw -> sub/new.raw",
                           "in.raw = " + sample_,
                           "link.raw -> target.raw",
                           "out.raw = " + sample_,
                           "out.raw.partial = mine",
                           "private.raw = " + sample_,
                           "sub (other)",
                           "target.raw = " + sample_,
                       }));
  EXPECT_EQ(readFile(file("sub/new.raw")), sample_);
  struct stat status;
  ASSERT_EQ(stat(file("private.raw").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

// A write that fails half way (here at the file size limit) leaves the old
// OUT and every other file as they were, and no temporary behind.
TEST_F(CommandLineTest, AFailedWriteLeavesEverythingAsItWas) {
  write("out.raw", "old");
  write("out.raw.partial", "mine");
  const std::string limited = "trap '' XFSZ; ulimit -f 4;";
  expectRefused("sample --format argb8 --size 64x64 " + file("out.raw"), "cannot write " + file("out.raw") + ": file too large",
                limited);
}

}  // namespace
}  // namespace StrobeQuirk::Testing

// strobe-quirk render when the host stops the render or runs out of memory:
// the exit status and message of a failed frame, and no file for it. Run in
// process, with the stand-in's fault switches, on the built plug-in.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/command.h"
#include "cli/render_command.h"
#include "cli/sample_clip.h"
#include "standin/plugin_loader.h"

namespace StrobeQuirk::Cli {
namespace {

namespace fs = std::filesystem;

class RenderFaultsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/strobe_quirk_faults_XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    dir_ = pattern;
    const std::vector<unsigned char> frame = sampleClipFrame(rawFormat("bgra16"), Size{24, 16}, 5);
    std::ofstream(dir_ / "in.raw", std::ios::binary).write(reinterpret_cast<const char*>(frame.data()),
                                                           std::streamsize(frame.size()));
  }
  void TearDown() override { fs::remove_all(dir_); }

  // The exit status and the one line the tool would print.
  std::pair<int, std::string> render(const std::string& frames, const std::string& out,
                                     const StandIn::Faults& faults) {
    const std::vector<std::string> words = {frames.find('-') == std::string::npos ? "--frame" : "--frames", frames,
                                            "--plugin", StandIn::PluginLoader::builtPluginPath(),
                                            "--threads", "2", "--format", "bgra16", "--size", "24x16",
                                            (dir_ / "in.raw").string(), (dir_ / out).string()};
    std::ostringstream err;
    const int status = exitStatusOf([&] { return runRender(words, faults); }, err);
    return {status, err.str()};
  }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path dir_;
};

TEST_F(RenderFaultsTest, AStoppedRenderWritesNothingAndExitsOne) {
  StandIn::Faults stop;
  stop.abortOnProgress = 1;
  EXPECT_EQ(render("0", "out.raw", stop), std::make_pair(1, std::string("strobe-quirk: frame 0: the render was stopped (error 517)\n")));
  EXPECT_EQ(files(), std::vector<std::string>{"in.raw"});
}

TEST_F(RenderFaultsTest, MemoryTheHostRefusesWritesNothingAndExitsOne) {
  StandIn::Faults starve;
  starve.refuseWorld = 1;
  // The plug-in's own message when it has one, the code's meaning when not.
  EXPECT_EQ(render("0", "out.raw", starve), std::make_pair(1, std::string("strobe-quirk: frame 0: Out of memory! (error 4)\n")));
  starve = {};
  starve.refuseOutput = true;
  EXPECT_EQ(render("1", "out.raw", starve), std::make_pair(1, std::string("strobe-quirk: frame 1: out of memory (error 4)\n")));
  EXPECT_EQ(files(), std::vector<std::string>{"in.raw"});
}

TEST_F(RenderFaultsTest, ARangeKeepsTheFramesBeforeTheOneThatFailed) {
  // Each frame checks its layer's pixels out once: the third is refused.
  StandIn::Faults third;
  third.refuseLayerPixels = 3;
  EXPECT_EQ(render("4-7", "out%d.raw", third), std::make_pair(1, std::string("strobe-quirk: frame 6: out of memory (error 4)\n")));
  EXPECT_EQ(files(), (std::vector<std::string>{"in.raw", "out4.raw", "out5.raw"}));
  // And they are the frames a clean run writes.
  std::ifstream first(dir_ / "out5.raw", std::ios::binary);
  const std::string kept((std::istreambuf_iterator<char>(first)), std::istreambuf_iterator<char>());
  ASSERT_EQ(render("5", "clean.raw", {}).first, 0);
  std::ifstream second(dir_ / "clean.raw", std::ios::binary);
  EXPECT_EQ(kept, std::string((std::istreambuf_iterator<char>(second)), std::istreambuf_iterator<char>()));
}

}  // namespace
}  // namespace StrobeQuirk::Cli

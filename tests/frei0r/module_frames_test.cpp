// Frames through the module, held byte for byte to the application's
// plug-in at the same frame number: every control set, both ways of passing
// time, frames asked out of order, any thread count, odd sizes, and the
// frames a host should not send.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "frei0r/application_render.h"
#include "frei0r/frei0r_module.h"
#include "frei0r/sample_frames.h"

using Frei0rTests::Frei0rInstance;
using Frei0rTests::QuirkControls;
using Frei0rTests::sampleFrame;
namespace Control = Frei0rTests;

namespace {

void applyControls(Frei0rInstance& instance, const QuirkControls& controls) {
  instance.set(Control::kQuirkTime, controls.quirkTime);
  instance.set(Control::kRandomQuirk, controls.randomQuirk);
  instance.set(Control::kIncreaseQuirky, controls.increaseQuirky ? 1.0 : 0.0);
  instance.set(Control::kUnmasked, controls.unmasked ? 1.0 : 0.0);
}

// The application's frames, each rendered once per test program.
// Sample frame `number`, rendered at frame `at` (the same unless given).
const std::vector<unsigned char>& applicationFrame(std::int32_t width, std::int32_t height, std::int32_t number,
                                                   const QuirkControls& controls, std::int32_t at = -1) {
  if (at < 0) at = number;
  using Key = std::tuple<std::int32_t, std::int32_t, std::int32_t, std::int32_t, double, double, bool, bool>;
  static std::map<Key, std::vector<unsigned char>> rendered;
  const Key key{width, height, number, at, controls.quirkTime, controls.randomQuirk, controls.increaseQuirky,
                controls.unmasked};
  auto found = rendered.find(key);
  if (found == rendered.end())
    found = rendered
                .emplace(key, Frei0rTests::renderInApplication(sampleFrame(width, height, number), width, height, at,
                                                               controls))
                .first;
  return found->second;
}

// Where two frames first differ, for the failure message.
std::string firstDifference(const std::vector<unsigned char>& got, const std::vector<unsigned char>& want,
                            std::int32_t width) {
  for (std::size_t i = 0; i < got.size() && i < want.size(); ++i)
    if (got[i] != want[i])
      return "pixel (" + std::to_string(i / 4 % std::size_t(width)) + ", " + std::to_string(i / 4 / std::size_t(width)) +
             ") byte " + std::to_string(i % 4) + ": " + std::to_string(got[i]) + " against " + std::to_string(want[i]);
  return got.size() == want.size() ? "none" : "sizes differ";
}

struct ControlSet {
  const char* name;
  QuirkControls controls;
};

const ControlSet kControlSets[] = {
    {"Defaults", {}},
    {"QuirkTimeOneIncreaseQuirky", {1.0, 0.0, true, false}},
    {"RandomQuirkUnmasked", {2.0, 60.0, false, true}},
};

class Frei0rFrames : public ::testing::TestWithParam<ControlSet> {};

}  // namespace

TEST_P(Frei0rFrames, EqualTheApplicationForFramesZeroToElevenInSecondsAndMilliseconds) {
  const QuirkControls& controls = GetParam().controls;
  Frei0rInstance seconds(64, 48), milliseconds(64, 48);
  applyControls(seconds, controls);
  applyControls(milliseconds, controls);
  milliseconds.set(Control::kMilliseconds, 1.0);
  for (std::int32_t n = 0; n < 12; ++n) {
    const std::vector<unsigned char>& want = applicationFrame(64, 48, n, controls);
    const std::vector<unsigned char> input = sampleFrame(64, 48, n);
    // As MLT and GStreamer pass time, and as ffmpeg does at 25 frames per second.
    const std::vector<unsigned char> fromSeconds = seconds.render(input, n / 25.0);
    EXPECT_EQ(fromSeconds, want) << "frame " << n << ", seconds: " << firstDifference(fromSeconds, want, 64);
    const std::vector<unsigned char> fromMilliseconds = milliseconds.render(input, n * 1000.0 / 25.0);
    EXPECT_EQ(fromMilliseconds, want) << "frame " << n << ", ms: " << firstDifference(fromMilliseconds, want, 64);
  }
}

INSTANTIATE_TEST_SUITE_P(Controls, Frei0rFrames, ::testing::ValuesIn(kControlSets),
                         [](const ::testing::TestParamInfo<ControlSet>& info) { return info.param.name; });

TEST(Frei0rFrameTime, FollowsTheFrameRateAndRoundsToTheNearestFrame) {
  const QuirkControls controls{1.0, 0.0, false, false};  // two frames on, one off
  Frei0rInstance instance(32, 16);
  applyControls(instance, controls);
  instance.set(Control::kFrameRate, 30.0);
  const std::vector<unsigned char> input = sampleFrame(32, 16, 0);
  // 0.09 s at 30 fps is frame 2.7, so 3; just under the half of 2.5 stays 2.
  EXPECT_EQ(instance.render(input, 0.09), Frei0rTests::renderInApplication(input, 32, 16, 3, controls));
  EXPECT_EQ(instance.render(input, 2.49 / 30.0), Frei0rTests::renderInApplication(input, 32, 16, 2, controls));
  // Before time 0 the schedule has no pulse, as in the application.
  EXPECT_EQ(instance.render(input, -1.0 / 30.0), Frei0rTests::renderInApplication(input, 32, 16, -1, controls));
}

TEST(Frei0rFrameTime, ATimeWithoutAUsableFrameNumberPassesTheInputThrough) {
  Frei0rInstance instance(16, 8);
  const std::vector<unsigned char> input = sampleFrame(16, 8, 3);
  // 2^24 frames is the last the schedule counts exactly; one more is refused.
  for (double time : {std::nan(""), std::numeric_limits<double>::infinity(), (16777216.0 + 1.0) / 25.0, -1e12})
    EXPECT_EQ(instance.render(input, time), input) << time;
  EXPECT_EQ(instance.render(input, 16777216.0 / 25.0), applicationFrame(16, 8, 3, {}, 16777216));
}

TEST(Frei0rFrames, FramesAskedOutOfOrderEqualThoseAskedInOrder) {
  const QuirkControls controls{2.0, 80.0, true, false};
  Frei0rInstance inOrder(40, 24), seeking(40, 24);
  applyControls(inOrder, controls);
  applyControls(seeking, controls);
  std::vector<std::vector<unsigned char>> frames;
  for (std::int32_t n = 0; n < 12; ++n) frames.push_back(inOrder.render(sampleFrame(40, 24, n), n / 25.0));
  for (std::int32_t n : {11, 3, 7, 0, 5, 5, 1, 10, 2, 9, 4, 8, 6})
    EXPECT_EQ(seeking.render(sampleFrame(40, 24, n), n / 25.0), frames[std::size_t(n)]) << "frame " << n;
}

TEST(Frei0rFrames, EveryThreadCountGivesTheSameBytes) {
  const QuirkControls controls{1.0, 0.0, true, false};
  for (std::int32_t n : {0, 2}) {  // a pulse and a gap
    const std::vector<unsigned char> input = sampleFrame(64, 48, n);
    const std::vector<unsigned char>& want = applicationFrame(64, 48, n, controls);
    for (double threads : {1.0, 2.0, 5.0, 0.0, 64.0}) {
      Frei0rInstance instance(64, 48);
      applyControls(instance, controls);
      instance.set(Control::kThreads, threads);
      EXPECT_EQ(instance.render(input, n / 25.0), want) << threads << " threads, frame " << n;
    }
  }
}

TEST(Frei0rFrames, OddSizesEqualTheApplication) {
  const QuirkControls controls{1.0, 0.0, false, false};
  for (auto [width, height] : {std::pair{37, 23}, {1, 1}, {5, 64}}) {
    Frei0rInstance instance{unsigned(width), unsigned(height)};
    applyControls(instance, controls);
    for (std::int32_t n : {0, 2}) {
      const std::vector<unsigned char> got = instance.render(sampleFrame(width, height, n), n / 25.0);
      const std::vector<unsigned char>& want = applicationFrame(width, height, n, controls);
      EXPECT_EQ(got, want) << width << "x" << height << " frame " << n << ": " << firstDifference(got, want, width);
    }
  }
}

TEST(Frei0rFrames, OneFrameAsBothInputAndOutputRendersAsTwoWould) {
  const Frei0rTests::Frei0rModule& module = Frei0rTests::Frei0rModule::get();
  Frei0rInstance instance(64, 48);
  const std::vector<unsigned char> input = sampleFrame(64, 48, 1);
  std::vector<std::uint32_t> frame(64 * 48);
  std::memcpy(frame.data(), input.data(), input.size());
  module.update(instance.handle(), 1 / 25.0, frame.data(), frame.data());
  std::vector<unsigned char> got(input.size());
  std::memcpy(got.data(), frame.data(), got.size());
  EXPECT_EQ(got, applicationFrame(64, 48, 1, {}));
}

TEST(Frei0rFrames, NullFramesAndInstancesAreRefusedWithoutTouchingAnything) {
  const Frei0rTests::Frei0rModule& module = Frei0rTests::Frei0rModule::get();
  Frei0rInstance instance(16, 8);
  std::vector<std::uint32_t> in(16 * 8, 0x80402010u), out(16 * 8, 0xcdcdcdcdu);
  module.update(instance.handle(), 0.0, nullptr, out.data());
  EXPECT_EQ(out, std::vector<std::uint32_t>(16 * 8, 0xcdcdcdcdu));
  module.update(instance.handle(), 0.0, in.data(), nullptr);
  module.update(nullptr, 0.0, in.data(), out.data());
  EXPECT_EQ(out, std::vector<std::uint32_t>(16 * 8, 0xcdcdcdcdu));
  EXPECT_EQ(in, std::vector<std::uint32_t>(16 * 8, 0x80402010u));
}

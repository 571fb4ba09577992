// The whole effect with its shortcuts taken and not taken: every shortcut
// alone, a pair, and all of them together, must leave every byte of the frame as
// the general path makes it, at every processor level, in all six formats,
// on one thread and on two, with both looks of "Increase Quirky", on a
// pulse and in a gap.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "effect/quirk_plugin_ae.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_format.h"
#include "image/shortcuts.h"
#include "standin/standin_host.h"

using namespace StrobeQuirk;
using OZ::Image::formatCode;
using OZ::Image::ProcessorFlags;
using OZ::Image::Shortcuts;

namespace {

struct LevelCase {
  const char* name;
  ProcessorFlags mask;
};

const LevelCase kLevels[] = {
    {"Scalar", 0},
    {"SSE2", OZ::Image::kFlagSSE2},
    {"SSSE3", OZ::Image::kFlagSSE2 | OZ::Image::kFlagSSSE3},
    {"SSE41", OZ::Image::kFlagSSE2 | OZ::Image::kFlagSSSE3 | OZ::Image::kFlagSSE41},
    {"AVX", ~ProcessorFlags(0)},  // everything this machine has, the blur's AVX build included
};

const OZ::Image::PixelFormatCode kFormats[] = {formatCode("argb"), formatCode("bgra"), formatCode("Argb"),
                                               formatCode("Bgra"), formatCode("ARgb"), formatCode("BGra")};

// The grey blur needs the desaturation's word, the levels go only into the
// desaturation's short route, and the blur takes in only a desaturation
// that takes the short route into a grey blur: alone each must change
// nothing. With the levels apart, a blur that took the desaturation in
// renders it itself.
const Shortcuts kShortcutSets[] = {OZ::Image::kShortcutDesaturation,
                                   OZ::Image::kShortcutGreyBlur,
                                   OZ::Image::kShortcutLevelsIntoDesaturation,
                                   OZ::Image::kShortcutBlendColourAsStored,
                                   OZ::Image::kShortcutDesaturationIntoBlur,
                                   OZ::Image::kShortcutDesaturation | OZ::Image::kShortcutLevelsIntoDesaturation,
                                   ~OZ::Image::kShortcutLevelsIntoDesaturation,
                                   ~OZ::Image::kShortcutDesaturationIntoBlur,
                                   ~OZ::Image::kShortcutOneAlpha};

// One layer, rendered through the effect as the adapter renders a frame.
class EffectRun {
 public:
  EffectRun(OZ::Image::PixelFormatCode format, std::int32_t width, std::int32_t height, int threads)
      : standIn(settingsWith(threads)), format(format), width(width), height(height) {
    effect.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
    store = std::make_unique<QuirkPluginAE::Store>();
    effect.defineParameters(*store);
    source = standIn.makeLayerWorld(width, height, format);
    output = standIn.makeLayerWorld(width, height, format);
    depth = OZ::Image::formatDepth(format);
  }
  ~EffectRun() {
    standIn.disposeLayerWorld(source);
    standIn.disposeLayerWorld(output);
  }

  // Bright and dark areas with edges, so that levels, grey and blur all
  // have something to do, and in float a few values no effect input
  // should hold: negatives, above white, NaN, infinities. Opaque, alpha is
  // white everywhere, as in most footage.
  void fill(std::uint32_t seed, bool opaque) {
    const int alpha = OZ::Image::channelOrder(format) == OZ::Image::ChannelOrder::AlphaFirst ? 0 : 3;
    std::mt19937 random(seed);
    const int components = width * 4;
    for (std::int32_t y = 0; y < height; ++y) {
      unsigned char* row = reinterpret_cast<unsigned char*>(source->data) + std::ptrdiff_t(y) * source->rowbytes;
      for (int i = 0; i < components; ++i) {
        const bool bright = ((i / 4) / 9 + y / 7) % 3 == 0;
        const float unit = bright ? 0.1f + 0.1f * float(random() % 11) / 10.0f : float(random() % 100) / 1000.0f;
        if (depth == 8) row[i] = static_cast<unsigned char>(unit * 255.0f + 0.5f);
        if (depth == 16)
          reinterpret_cast<std::uint16_t*>(row)[i] =
              random() % 50 == 0 ? std::uint16_t(40000 + random() % 25000) : std::uint16_t(unit * 32768.0f);
        if (depth == 32) {
          const float odd[] = {-0.5f, 3.0f, -0.0f, std::numeric_limits<float>::quiet_NaN(),
                               std::numeric_limits<float>::infinity(), 1e-40f};
          reinterpret_cast<float*>(row)[i] = random() % 50 == 0 ? odd[random() % 6] : unit;
        }
        if (opaque && i % 4 == alpha) {
          if (depth == 8) row[i] = 255;
          if (depth == 16) reinterpret_cast<std::uint16_t*>(row)[i] = 32768;
          if (depth == 32) reinterpret_cast<float*>(row)[i] = 1.0f;
        }
      }
    }
  }

  std::vector<unsigned char> render(A_long frame, bool increase, Shortcuts shortcuts) {
    store->setBool(increase, kIncreaseQuirkyIndex);
    standIn.setTime(frame, 1);
    std::memset(output->data, 0x5A, std::size_t(output->rowbytes) * std::size_t(height));
    OZ::Image::restrictShortcuts(shortcuts);
    {
      QuirkPluginAE::Image in(&effect, source), out(&effect, output), spare(&effect);
      effect.renderFrame(*store, in, out, spare, nullptr);
    }
    OZ::Image::restrictShortcuts(~Shortcuts(0));
    EXPECT_EQ(standIn.liveWorlds(), 0u);
    EXPECT_EQ(standIn.liveHandles(), 0u);
    const std::size_t rowBytes = std::size_t(width) * std::size_t(OZ::Image::bytesPerPixel(depth));
    std::vector<unsigned char> bytes;
    for (std::int32_t y = 0; y < height; ++y) {
      const unsigned char* row = reinterpret_cast<unsigned char*>(output->data) + std::ptrdiff_t(y) * output->rowbytes;
      bytes.insert(bytes.end(), row, row + rowBytes);
    }
    return bytes;
  }

  static StandIn::Settings settingsWith(int threads) {
    StandIn::Settings settings;
    settings.iterations = threads;
    return settings;
  }

  StandIn::StandInHost standIn;
  QuirkPluginAE effect;
  std::unique_ptr<QuirkPluginAE::Store> store;
  PF_EffectWorld* source;
  PF_EffectWorld* output;
  OZ::Image::PixelFormatCode format;
  std::int32_t width, height;
  int depth;
};

// The byte where two frames part, or -1.
long firstDifference(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
    if (a[i] != b[i]) return long(i);
  return a.size() == b.size() ? -1 : long(a.size() < b.size() ? a.size() : b.size());
}

class EffectShortcuts : public ::testing::TestWithParam<LevelCase> {
 protected:
  void SetUp() override {
    OZ::Image::restrictProcessorFlags(~ProcessorFlags(0));
    if ((OZ::Image::queryProcessorFlags() & GetParam().mask) != GetParam().mask &&
        GetParam().mask != ~ProcessorFlags(0))
      GTEST_SKIP() << "processor lacks the level";
    OZ::Image::restrictProcessorFlags(GetParam().mask);
  }
  void TearDown() override {
    OZ::Image::restrictProcessorFlags(~ProcessorFlags(0));
    OZ::Image::restrictShortcuts(~Shortcuts(0));
  }
};

TEST_P(EffectShortcuts, EveryShortcutKeepsEveryByte) {
  struct Size {
    std::int32_t width, height;
    bool opaque;
  };
  // The wide opaque layer has columns far enough from both edges to share
  // one blurred alpha.
  for (const OZ::Image::PixelFormatCode format : kFormats)
    for (const Size size : {Size{37, 29, false}, Size{133, 70, false}, Size{260, 20, true}})
      for (int threads : {1, 2}) {
        EffectRun run(format, size.width, size.height, threads);
        run.fill(std::uint32_t(size.width * 7 + threads), size.opaque);
        for (const bool increase : {false, true})
          for (const A_long frame : {A_long(0), A_long(3)}) {
            SCOPED_TRACE(::testing::Message() << "format " << std::hex << format << std::dec << " " << size.width << "x" << size.height << ", " << threads
                                              << " threads, increase " << increase << ", frame " << frame);
            const std::vector<unsigned char> general = run.render(frame, increase, 0);
            EXPECT_EQ(firstDifference(run.render(frame, increase, ~Shortcuts(0)), general), -1) << "all shortcuts";
            for (const Shortcuts shortcuts : kShortcutSets)
              EXPECT_EQ(firstDifference(run.render(frame, increase, shortcuts), general), -1)
                  << "shortcuts " << shortcuts;
          }
      }
}

INSTANTIATE_TEST_SUITE_P(Levels, EffectShortcuts, ::testing::ValuesIn(kLevels),
                         [](const ::testing::TestParamInfo<LevelCase>& info) { return std::string(info.param.name); });

}  // namespace

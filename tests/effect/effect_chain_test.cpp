// The whole effect in process: what each of the four visible cases does to a
// frame in every format, what the downsample factors and "Increase Quirky"
// change, and the graphs that unmultiply and premultiply select.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "effect/quirk_plugin_ae.h"
#include "image/pixel_format.h"
#include "standin/standin_host.h"

using namespace StrobeQuirk;
using OZ::Image::formatCode;
using OZ::Image::PixelFormatCode;

namespace {

using Host = OZ::Host::AE::Host;
using Node = OZ::Image::FilterBase<Host>;
using Layer = OZ::Image::FilterLayer<Host>;

// Wide enough that the blur's reach (3.5 deviations) stays mostly inside.
constexpr std::int32_t kWidth = 240, kHeight = 48;

struct Rgba {
  float r, g, b, a;
};

// A bright block left of the middle of a dark field, alpha rising to the
// right.
Rgba sourcePixel(std::int32_t x, std::int32_t y) {
  const float alpha = 0.5f + 0.5f * float(x) / float(kWidth - 1);
  if (x >= 70 && x < 110 && y >= 8 && y < 40) return {0.9f, 0.8f, 0.7f, alpha};
  return {0.04f, 0.05f, 0.06f, alpha};
}

// A world's pixels in and out of its format, as floats with 1.0 white.
class Pixels {
 public:
  Pixels(PF_EffectWorld* world, PixelFormatCode format) : world_(world), depth_(OZ::Image::formatDepth(format)) {
    OZ::Image::formatPositions(format, positions_);
  }
  float get(std::int32_t x, std::int32_t y, int channel) const {
    const unsigned char* at = address(x, y, channel);
    if (depth_ == 8) return float(*at) / 255.0f;
    if (depth_ == 16) {
      std::uint16_t value;
      std::memcpy(&value, at, 2);
      return float(value) / 32768.0f;
    }
    float value;
    std::memcpy(&value, at, 4);
    return value;
  }
  void set(std::int32_t x, std::int32_t y, int channel, float value) {
    unsigned char* at = address(x, y, channel);
    if (depth_ == 8) *at = static_cast<unsigned char>(value * 255.0f + 0.5f);
    if (depth_ == 16) {
      const auto wide = static_cast<std::uint16_t>(value * 32768.0f + 0.5f);
      std::memcpy(at, &wide, 2);
    }
    if (depth_ == 32) std::memcpy(at, &value, 4);
  }
  // One step of the format, for comparisons of rounded values.
  float step() const { return depth_ == 8 ? 1.0f / 255.0f : depth_ == 16 ? 1.0f / 32768.0f : 1e-6f; }

 private:
  unsigned char* address(std::int32_t x, std::int32_t y, int channel) const {
    return reinterpret_cast<unsigned char*>(world_->data) + std::ptrdiff_t(y) * world_->rowbytes +
           (std::size_t(x) * 4 + std::size_t(positions_[std::size_t(channel)])) * std::size_t(depth_ / 8);
  }
  PF_EffectWorld* world_;
  int depth_;
  OZ::Image::ChannelPositions positions_;
};

std::vector<unsigned char> bytesOf(const PF_EffectWorld* world, PixelFormatCode format) {
  const std::size_t row = std::size_t(world->width) * std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format)));
  std::vector<unsigned char> bytes;
  for (A_long y = 0; y < world->height; ++y) {
    const auto* start = reinterpret_cast<const unsigned char*>(world->data) + std::ptrdiff_t(y) * world->rowbytes;
    bytes.insert(bytes.end(), start, start + row);
  }
  return bytes;
}

// The effect on the adapter, with a store whose values sit in its records.
struct EffectRun {
  explicit EffectRun(PixelFormatCode format = formatCode("bgra")) : format(format) {
    effect.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
    store = std::make_unique<QuirkPluginAE::Store>();
    effect.defineParameters(*store);
    source = standIn.makeLayerWorld(kWidth, kHeight, format);
    output = standIn.makeLayerWorld(kWidth, kHeight, format);
    Pixels pixels(source, format);
    for (std::int32_t y = 0; y < kHeight; ++y)
      for (std::int32_t x = 0; x < kWidth; ++x) {
        const Rgba colour = sourcePixel(x, y);
        const float channels[4] = {colour.r, colour.g, colour.b, colour.a};
        for (int channel = 0; channel < 4; ++channel) pixels.set(x, y, channel, channels[channel]);
      }
  }
  ~EffectRun() {
    standIn.disposeLayerWorld(source);
    standIn.disposeLayerWorld(output);
  }

  void render(A_long frame) {
    std::memset(output->data, 0x5A, std::size_t(output->rowbytes) * std::size_t(kHeight));  // no stale zeros
    standIn.setTime(frame, 1);
    QuirkPluginAE::Image in(&effect, source), out(&effect, output), spare(&effect);
    effect.renderFrame(*store, in, out, spare, nullptr);
  }

  // The graph of a query at `frame`, as nested filter names.
  std::string graph(A_long frame, bool unmultiply, bool premultiply) {
    standIn.setTime(frame, 1);
    Layer layer(nullptr, OZ::Image::Rect{0, 0, kWidth, kHeight});
    EffectGraph<Host> arena(&effect, &layer);
    return describe(effect.buildGraph(arena, *store, unmultiply, premultiply));
  }
  static std::string describe(const Node* node) {
    std::string text = node->filterName();
    for (std::size_t i = 0; i < node->inputs.size(); ++i)
      text += (i == 0 ? "(" : ", ") + describe(node->inputs[i]) + (i + 1 == node->inputs.size() ? ")" : "");
    return text;
  }

  PixelFormatCode format;
  StandIn::StandInHost standIn;
  QuirkPluginAE effect;
  std::unique_ptr<QuirkPluginAE::Store> store;
  PF_EffectWorld* source;
  PF_EffectWorld* output;
};

// A format by its four letters, as a test parameter.
PixelFormatCode codeOf(const char* letters) {
  const char spelled[5] = {letters[0], letters[1], letters[2], letters[3], '\0'};
  return formatCode(spelled);
}

class VisibleCases : public ::testing::TestWithParam<const char*> {};

}  // namespace

// Quirk Time 3: frames 0, 1, 5, 6 pulse; 2, 3, 4 are a gap.
TEST_P(VisibleCases, MaskedPulseShowsTheLayerThroughItsGlowAndAGapHidesIt) {
  EffectRun run(codeOf(GetParam()));
  const Pixels source(run.source, run.format), output(run.output, run.format);
  const float step = source.step();

  run.render(0);
  for (std::int32_t y = 0; y < kHeight; ++y)
    for (std::int32_t x = 0; x < kWidth; ++x) {
      for (int channel = 0; channel < 3; ++channel)
        ASSERT_NEAR(output.get(x, y, channel), source.get(x, y, channel), step) << x << "," << y;  // colour kept
      ASSERT_LE(output.get(x, y, 3), source.get(x, y, 3) + step) << x << "," << y;  // the mask only takes away
    }
  // Strongest over the bright block, weak far from it, though the far side
  // is the more opaque.
  const float onBlock = output.get(90, 24, 3) / source.get(90, 24, 3);
  const float farSide = output.get(kWidth - 1, 24, 3) / source.get(kWidth - 1, 24, 3);
  EXPECT_GT(onBlock, 0.2f);
  EXPECT_LT(farSide, onBlock * 0.5f);

  run.render(3);  // the same blend at opacity 0: colour kept, nothing visible
  for (std::int32_t y = 0; y < kHeight; ++y)
    for (std::int32_t x = 0; x < kWidth; ++x) {
      for (int channel = 0; channel < 3; ++channel)
        ASSERT_NEAR(output.get(x, y, channel), source.get(x, y, channel), step) << x << "," << y;
      ASSERT_EQ(output.get(x, y, 3), 0.0f) << x << "," << y;
    }
  EXPECT_EQ(run.standIn.liveWorlds(), 0u);
  EXPECT_EQ(run.standIn.liveHandles(), 0u);
}

TEST_P(VisibleCases, UnmaskedPulsePassesTheLayerAndAGapIsTransparent) {
  EffectRun run(codeOf(GetParam()));
  run.store->setBool(true, kUnmaskedIndex);
  run.render(6);
  EXPECT_EQ(bytesOf(run.output, run.format), bytesOf(run.source, run.format));
  run.render(2);
  const std::vector<unsigned char> gap = bytesOf(run.output, run.format);
  EXPECT_EQ(gap, std::vector<unsigned char>(gap.size(), 0));
}

INSTANTIATE_TEST_SUITE_P(Formats, VisibleCases, ::testing::Values("argb", "bgra", "Argb", "Bgra", "ARgb", "BGra"),
                         [](const auto& info) { return std::string(info.param); });

TEST(EffectChain, DownsampleScalesEachAxisDeviationAndNothingElse) {
  EffectRun run;
  auto sigmas = [&](A_long frame) {
    run.standIn.setTime(frame, 1);
    Layer layer(nullptr, OZ::Image::Rect{0, 0, kWidth, kHeight});
    EffectGraph<Host> arena(&run.effect, &layer);
    auto* blend = dynamic_cast<OZ::Image::BlendFilter<Host>*>(run.effect.buildGraph(arena, *run.store, false, false));
    auto* blur = dynamic_cast<OZ::Image::GaussianBlurFilter<Host>*>(blend->inputs.at(1));
    auto* balance = dynamic_cast<OZ::Image::BalanceFilter<Host>*>(blur->inputs.at(0)->inputs.at(0));
    return std::vector<float>{blur->sigmaX,      blur->sigmaY,      blend->opacity,
                              balance->inBlack,  balance->inWhite,  balance->outWhite};
  };
  const std::vector<float> full = sigmas(0), fullGap = sigmas(3);
  ASSERT_EQ(full[0], 30.0f);
  ASSERT_EQ(full[1], 30.0f);

  run.standIn.inData()->downsample_x = {1, 2};
  run.standIn.inData()->downsample_y = {2, 3};
  EXPECT_EQ(sigmas(0), (std::vector<float>{15.0f, 20.0f, 1.0f, full[3], full[4], full[5]}));
  EXPECT_EQ(sigmas(3), (std::vector<float>{15.0f, 20.0f, 0.0f, fullGap[3], fullGap[4], fullGap[5]}));

  // No factor to speak of acts as none.
  run.standIn.inData()->downsample_x = {0, 2};
  run.standIn.inData()->downsample_y = {1, 0};
  EXPECT_EQ(sigmas(0), full);

  // And the frame keeps its size: only the mask gets sharper.
  run.standIn.inData()->downsample_x = run.standIn.inData()->downsample_y = {1, 1};
  run.render(0);
  const std::vector<unsigned char> atFull = bytesOf(run.output, run.format);
  run.standIn.inData()->downsample_x = run.standIn.inData()->downsample_y = {1, 2};
  run.render(0);
  EXPECT_NE(bytesOf(run.output, run.format), atFull);
}

TEST(EffectChain, IncreaseQuirkyMakesTheMaskWeakerAndTighter) {
  // In float, with an opaque layer, the output alpha is the mask itself.
  // The field sits at the levels' black point, which maps it to 0; the block
  // is a mid-tone, which the lower output white dims to a fifth (brighter
  // tones reach white either way).
  auto maskAlong = [](bool increase) {
    EffectRun run(formatCode("BGra"));
    Pixels source(run.source, run.format);
    for (std::int32_t y = 0; y < kHeight; ++y)
      for (std::int32_t x = 0; x < kWidth; ++x) {
        const float level = source.get(x, y, 0) < 0.5f ? 0.11f : 0.14f;
        for (int channel = 0; channel < 3; ++channel) source.set(x, y, channel, level);
        source.set(x, y, 3, 1.0f);
      }
    run.store->setBool(increase, kIncreaseQuirkyIndex);
    run.render(0);
    const Pixels output(run.output, run.format);
    std::vector<float> row;
    for (std::int32_t x = 0; x < kWidth; ++x) row.push_back(output.get(x, 24, 3));
    return row;
  };
  const std::vector<float> plain = maskAlong(false), increased = maskAlong(true);
  const float blockLevel = (0.14f - 0.11f) / (0.165f - 0.11f);
  const std::size_t peak = 90, away = 150;
  EXPECT_GT(plain[peak], 0.25f * blockLevel);
  for (std::int32_t x = 0; x < kWidth; ++x) {
    EXPECT_LE(plain[std::size_t(x)], blockLevel * 1.001f) << x;
    EXPECT_LE(increased[std::size_t(x)], 0.2f * blockLevel * 1.001f) << x;
  }
  // Half the deviation: the mask falls off faster away from the block.
  EXPECT_LT(increased[away] / increased[peak], plain[away] / plain[peak] * 0.8f);
}

TEST(EffectChain, UnmultiplyAndPremultiplyWrapTheChainOrFallAway) {
  EffectRun run;
  const std::string mask = "gaussianBlur(HSVCC(balance(UnmultAlpha(layer))))";
  EXPECT_EQ(run.graph(0, true, true), "PremultAlpha(blend(UnmultAlpha(layer), " + mask + "))");
  EXPECT_EQ(run.graph(3, true, false), "blend(UnmultAlpha(layer), " + mask + ")");
  EXPECT_EQ(run.graph(3, false, true), "PremultAlpha(blend(layer, gaussianBlur(HSVCC(balance(layer)))))");
  EXPECT_EQ(run.graph(0, false, false), "blend(layer, gaussianBlur(HSVCC(balance(layer))))");

  // Unmasked, a pulse with both steps asked for is the layer itself: the
  // unmultiply built before is dropped with the mask chain.
  run.store->setBool(true, kUnmaskedIndex);
  EXPECT_EQ(run.graph(0, true, true), "layer");
  EXPECT_EQ(run.graph(0, false, false), "layer");
  // With one of the two, that one step stays.
  EXPECT_EQ(run.graph(1, true, false), "UnmultAlpha(layer)");
  EXPECT_EQ(run.graph(1, false, true), "PremultAlpha(layer)");
  // A gap is transparent whatever was asked for: nothing is premultiplied.
  EXPECT_EQ(run.graph(2, true, true), "clear");
  EXPECT_EQ(run.graph(4, false, true), "clear");
}

// Worked values of the blend at every level, and a seeded sweep over all
// modes and formats whose checksum is one constant per rounding family.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "blend/blend_test_support.h"

namespace OZ::Image::BlendTest {
namespace {

// A row of five equal pixels, so that both the four-pixel body and the
// one-pixel path compute it; returns the first and expects the last equal
// (except in the modes whose single pixels take the scalar routine).
template <class Layout>
Pixel<Layout> blendPixel(ProcessorFlags mask, std::uint32_t mode, Pixel<Layout> first, Pixel<Layout> second,
                         float opacity) {
  const Rect rect{0, 0, 5, 1};
  World a(rect, Layout::bytes), b(rect, Layout::bytes), out(rect, Layout::bytes);
  for (std::int32_t x = 0; x < 5; ++x) {
    write<Layout>(a, x, 0, first);
    write<Layout>(b, x, 0, second);
  }
  blendAt<Layout>(mask, out, a, b, mode, opacity);
  const Pixel<Layout> result = read<Layout>(out, 0, 0);
  const bool scalarTail = mode == BlendSoftLight || (mode >= BlendHue && mode <= BlendLuminosity) ||
                          (!Layout::isFloat && (mode == BlendDarken || mode == BlendDarkerColor || mode == BlendLighten ||
                                                mode == BlendLighterColor || mode == BlendAlphaAdd ||
                                                mode == BlendNormalPremultipliedSource));
  if (!scalarTail) {
    EXPECT_EQ(read<Layout>(out, 4, 0), result) << "mode " << mode;
  }
  return result;
}

// Pixels given as red, green, blue, alpha, placed by channel order.
template <class Layout>
Pixel<Layout> rgba(typename Layout::Component red, typename Layout::Component green, typename Layout::Component blue,
                   typename Layout::Component alpha) {
  Pixel<Layout> pixel;
  pixel[kRgba<Layout>[0]] = red;
  pixel[kRgba<Layout>[1]] = green;
  pixel[kRgba<Layout>[2]] = blue;
  pixel[kRgba<Layout>[3]] = alpha;
  return pixel;
}

class BlendValuesTest : public BlendLevelTest {
 protected:
  template <class Layout>
  Pixel<Layout> blendOne(std::uint32_t mode, Pixel<Layout> first, Pixel<Layout> second, float opacity = 1.0f) {
    return blendPixel<Layout>(GetParam().mask, mode, first, second, opacity);
  }
};

TEST_P(BlendValuesTest, CompositingStep) {
  forEachLayout([&]<class Layout>() {
    const auto white = typename Layout::Component(Layout::white);
    const auto A = rgba<Layout>(white / 5, white / 2, white, 0), B = rgba<Layout>(white, white / 4, 0, 0);
    // Both transparent: A's colour, alpha 0.
    EXPECT_EQ(blendOne<Layout>(BlendNormal, A, B), A);
    // Transparent backdrop: B as it is, with its alpha.
    auto halfB = B;
    halfB[kRgba<Layout>[3]] = white / 2;
    EXPECT_EQ(blendOne<Layout>(BlendNormal, A, halfB), halfB);
    // Both opaque: B exactly, full alpha.
    auto opaqueA = A, opaqueB = B;
    opaqueA[kRgba<Layout>[3]] = opaqueB[kRgba<Layout>[3]] = white;
    EXPECT_EQ(blendOne<Layout>(BlendNormal, opaqueA, opaqueB), opaqueB);
  });
  // An opacity above 1: the vector levels saturate at 32768, the scalar
  // kernel keeps the low bits of r = 1.5.
  const auto half = rgba<Argb16>(0, 0, 0, 16384), whole = rgba<Argb16>(0, 0, 0, 32768);
  EXPECT_EQ(blendOne<Argb16>(BlendNormal, half, whole, 2.0f)[0], vector() ? 32768 : 49152);
}

TEST_P(BlendValuesTest, ModeEdges) {
  using F = Bgra32;
  const auto opaque = [](float red, float green, float blue) { return rgba<F>(red, green, blue, 1.0f); };
  // Multiply over a transparent backdrop is B with its alpha; opaque, A x B.
  EXPECT_EQ(blendOne<F>(BlendMultiply, rgba<F>(0.5f, 0.5f, 0.5f, 0.0f), rgba<F>(0.25f, 1.0f, 0.5f, 0.5f)),
            rgba<F>(0.25f, 1.0f, 0.5f, 0.5f));
  EXPECT_EQ(blendOne<F>(BlendMultiply, opaque(0.5f, 0.5f, 0.25f), opaque(0.5f, 1.0f, 0.5f)), opaque(0.25f, 0.5f, 0.125f));
  // Darken and Lighten with a transparent backdrop: B.
  for (std::uint32_t mode : {BlendDarken, BlendLighten})
    EXPECT_EQ(blendOne<F>(mode, rgba<F>(0.3f, 0.6f, 0.9f, 0.0f), rgba<F>(0.5f, 0.25f, 0.75f, 1.0f)),
              rgba<F>(0.5f, 0.25f, 0.75f, 1.0f));
  // Colour burn at B = 0 and dodge at B = 1, whatever A; divide by 0 gives 0.
  EXPECT_EQ(blendOne<F>(BlendColorBurn, opaque(0.5f, 1.0f, 0.0f), opaque(0.0f, 0.0f, 0.0f)), opaque(0, 0, 0));
  EXPECT_EQ(blendOne<F>(BlendColorDodge, opaque(0.5f, 0.0f, 0.25f), opaque(1.0f, 1.0f, 1.0f)), opaque(1, 1, 1));
  EXPECT_EQ(blendOne<F>(BlendDivide, opaque(0.5f, 1.0f, 0.25f), opaque(0.0f, 0.0f, 0.0f)), opaque(0, 0, 0));
  // Float channels leave the range unlimited: divide, add, subtract.
  EXPECT_EQ(blendOne<F>(BlendDivide, opaque(0.75f, 1.0f, 0.5f), opaque(0.5f, 0.25f, 1.0f)), opaque(1.5f, 4.0f, 0.5f));
  EXPECT_EQ(blendOne<F>(BlendAdd, opaque(0.75f, 0.5f, 0.0f), opaque(0.75f, 0.75f, 0.0f)), opaque(1.5f, 1.25f, 0.0f));
  EXPECT_EQ(blendOne<F>(BlendSubtract, opaque(0.25f, 0.5f, 0.0f), opaque(0.75f, 0.25f, 0.0f)), opaque(-0.5f, 0.25f, 0.0f));
  // Soft light over a transparent backdrop counts it as mid-grey: for
  // B = 0.25, M = 0.5 - 0.5 (1 - 0.5) 0.5 = 0.375, passed on by w = 1.
  EXPECT_EQ(blendOne<F>(BlendSoftLight, rgba<F>(0.9f, 0.1f, 0.0f, 0.0f), rgba<F>(0.25f, 0.25f, 0.25f, 1.0f)),
            rgba<F>(0.375f, 0.375f, 0.375f, 1.0f));
  // Hard mix at 0.5 over 0.5 takes the dodge branch: M = 1.
  EXPECT_EQ(blendOne<F>(BlendHardMix, opaque(0.5f, 0.5f, 0.5f), opaque(0.5f, 0.5f, 0.5f)), opaque(1, 1, 1));
  // Silhouette by alpha with b = 0 leaves A as it is.
  EXPECT_EQ(blendOne<F>(BlendSilhouetteAlpha, rgba<F>(0.2f, 0.4f, 0.6f, 0.8f), rgba<F>(1, 1, 1, 0)),
            rgba<F>(0.2f, 0.4f, 0.6f, 0.8f));
  // Alpha add with 0.75 and 0.75: R = 1, v = 0.75.
  EXPECT_EQ(blendOne<F>(BlendAlphaAdd, rgba<F>(0.0f, 1.0f, 0.5f, 0.75f), rgba<F>(1.0f, 0.0f, 0.5f, 0.75f)),
            rgba<F>(0.75f, 0.25f, 0.5f, 1.0f));
  // Normal with a premultiplied source and r = 0 keeps A's colour.
  EXPECT_EQ(blendOne<F>(BlendNormalPremultipliedSource, rgba<F>(0.3f, 0.6f, 0.9f, 0.0f), rgba<F>(1, 1, 1, 0)),
            rgba<F>(0.3f, 0.6f, 0.9f, 0.0f));
}

TEST_P(BlendValuesTest, LumaModes) {
  using F = Argb32;
  // A white B at opacity 1: L is 1 but for the weights' float sum, so the
  // stencil keeps A's alpha within a few units in the last place.
  const auto stencil = blendOne<F>(BlendStencilLuma, rgba<F>(0.2f, 0.4f, 0.6f, 0.5f), rgba<F>(1, 1, 1, 1));
  EXPECT_NEAR(stencil[0], 0.5f, 2e-7f);
  EXPECT_EQ(stencil[1], 0.2f);
  // Hue over a grey B, and Saturation with a grey B (a span of 0): a grey
  // of A's luma, from black (scalar) or (s, s, s) (vector) shifted to it.
  const auto A = rgba<F>(0.8f, 0.4f, 0.2f, 1.0f);
  const float lumaA = 0.3f * 0.8f + 0.59f * 0.4f + 0.11f * 0.2f;
  for (std::uint32_t mode : {BlendHue, BlendSaturation}) {
    const auto got = blendOne<F>(mode, A, rgba<F>(0.5f, 0.5f, 0.5f, 1.0f));
    for (int k = 1; k < 4; ++k) EXPECT_NEAR(got[k], lumaA, 1e-6f) << blendModeName(mode);
  }
  // Luminosity: the scalar drivers follow it with the stencil (A's colour,
  // alpha b a); the vector levels give the luminosity blend.
  const auto lum = blendOne<F>(BlendLuminosity, rgba<F>(0.8f, 0.4f, 0.2f, 0.5f), rgba<F>(0.1f, 0.1f, 0.1f, 0.5f));
  if (vector()) {
    EXPECT_EQ(lum[0], 0.75f);  // r
    EXPECT_LT(lum[1], 0.7f);   // red pulled towards B's dark luma
  } else {
    EXPECT_EQ(lum, rgba<F>(0.8f, 0.4f, 0.2f, 0.25f));
  }
}

TEST_P(BlendValuesTest, IntegerRoundingOfAdd) {
  // M = 1.5 with a = 1 and w = 1: 255 at every level.
  const auto A = rgba<Bgra8>(191, 0, 0, 255), B = rgba<Bgra8>(191, 0, 0, 255);
  EXPECT_EQ(blendOne<Bgra8>(BlendAdd, A, B)[kRgba<Bgra8>[0]], 255);
  // w = 0.5 (b = 1/3 over a = 1/2 ... here b = 0.5 over a = 1 gives w = 0.5):
  // the vector levels reach (1.5 + A) / 2, the scalar's limited Q only (1 + A) / 2.
  const auto got = blendOne<Bgra8>(BlendAdd, rgba<Bgra8>(191, 0, 0, 255), rgba<Bgra8>(191, 0, 0, 255), 0.5f);
  EXPECT_EQ(got[kRgba<Bgra8>[0]], vector() ? 255 : 223);
  // Rounding: the scalar kernels add 0.5 and truncate, the vector levels
  // round half to even: 127.5 gives 128 and 128.
  EXPECT_EQ(blendOne<Bgra8>(BlendAverage, rgba<Bgra8>(255, 0, 0, 255), rgba<Bgra8>(0, 0, 0, 255))[kRgba<Bgra8>[0]], 128);
}

TEST_P(BlendValuesTest, NumbersOutsideTheListActAsNormalAndBehindExchanges) {
  using F = Bgra32;
  const auto A = rgba<F>(0.2f, 0.4f, 0.6f, 1.0f), B = rgba<F>(1.0f, 0.5f, 0.0f, 1.0f);
  const auto normal = blendOne<F>(BlendNormal, A, B, 0.5f);
  EXPECT_EQ(blendOne<F>(42, A, B, 0.5f), normal);
  EXPECT_EQ(blendOne<F>(0xFFFFFFFFu, A, B, 0.5f), normal);
  // Behind at opacity 0.5 weighs A's alpha: with both opaque, A half over B.
  EXPECT_EQ(blendOne<F>(BlendBehind, A, B, 0.5f), rgba<F>(0.6f, 0.45f, 0.3f, 1.0f));
  EXPECT_EQ(normal, rgba<F>(0.6f, 0.45f, 0.3f, 1.0f));
  // At opacity 1 the first input shows wherever it is opaque.
  const auto exact = rgba<F>(0.25f, 0.5f, 0.75f, 1.0f);
  EXPECT_EQ(blendOne<F>(BlendBehind, exact, B), exact);
}

// ---------------------------------------------------------------- sweep

std::uint64_t fnv(std::uint64_t hash, const unsigned char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3ull;
  return hash;
}

// The case a sweep replays on its own: OZ_BLEND_REPLAY=mode,layout (layout
// 0 to 5 in the order argb8, bgra8, argb16, bgra16, argb32, bgra32).
bool replayed(std::uint32_t mode, int layout) {
  const char* replay = std::getenv("OZ_BLEND_REPLAY");
  if (!replay) return true;
  unsigned long long wantedMode = 0;
  int wantedLayout = 0;
  return std::sscanf(replay, "%llu,%d", &wantedMode, &wantedLayout) == 2 && wantedMode == mode && wantedLayout == layout;
}

// Random pixels over the whole storage range (16-bit values past 32768,
// float NaN, infinities and negatives), random opacities (above 1 and
// below 0 too), rows at two alignments. One checksum for the scalar
// kernels, one for SSE2 and SSSE3, one for SSE4.1 (whose 16-bit narrowing
// differs); the 64- and 32-bit builds give the same.
TEST_P(BlendValuesTest, SeededSweepChecksum) {
  const float opacities[] = {1.0f, 0.6f, 1.7f, 0.0f, -0.5f, 0.25f, 0.999f};
  const bool replaying = std::getenv("OZ_BLEND_REPLAY") != nullptr;
  std::uint64_t total = 0xcbf29ce484222325ull;
  int layoutIndex = 0;
  forEachLayout([&]<class Layout>() {
    const int layout = layoutIndex++;
    for (std::uint32_t mode : allModeNumbers()) {
      if (!replayed(mode, layout)) continue;
      std::mt19937 random(mode * 8u + std::uint32_t(layout));
      const Rect rect{0, 0, 13, 3};
      World a(rect, Layout::bytes), b(rect, Layout::bytes, Layout::isFloat ? 0 : 4),
          out(rect, Layout::bytes, Layout::isFloat ? 0 : 8);
      fillRandom<Layout>(a, random, false);
      fillRandom<Layout>(b, random, false);
      const float opacity = opacities[random() % 7];
      this->template blend<Layout>(out, a, b, mode, opacity);
      std::uint64_t hash = 0xcbf29ce484222325ull;
      for (std::int32_t y = rect.y0; y < rect.y1; ++y)
        for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
          Pixel<Layout> pixel = read<Layout>(out, x, y);
          if constexpr (Layout::isFloat)  // which NaN comes out depends on operand order
            for (auto& c : pixel)
              if (std::isnan(c)) c = std::numeric_limits<float>::quiet_NaN();
          hash = fnv(hash, reinterpret_cast<const unsigned char*>(pixel.data()), sizeof pixel);
          if (replaying) {
            const Pixel<Layout> first = read<Layout>(a, x, y), second = read<Layout>(b, x, y);
            std::printf("opacity %.9g at %d,%d: A", opacity, x, y);
            for (auto c : first) std::printf(" %.9g", double(c));
            std::printf(" B");
            for (auto c : second) std::printf(" %.9g", double(c));
            std::printf(" -> ");
            for (auto c : pixel) std::printf(" %.9g", double(c));
            std::printf("\n");
          }
        }
      total = fnv(total, reinterpret_cast<const unsigned char*>(&hash), sizeof hash);
    }
  });
  if (replaying) GTEST_SKIP() << "replayed one case";
  const std::uint64_t expected = GetParam().level == KernelLevel::Scalar  ? 0x920ee306fd8650baull
                                 : GetParam().level == KernelLevel::SSE41 ? 0xa79dba501637c318ull
                                                                           : 0xb42f1079ed8970a1ull;
  EXPECT_EQ(total, expected) << std::hex << "checksum 0x" << total
                             << "; replay a case with OZ_BLEND_REPLAY=mode,layout to see its pixels";
}

INSTANTIATE_TEST_SUITE_P(Levels, BlendValuesTest, ::testing::ValuesIn(kLevels), levelName);

}  // namespace
}  // namespace OZ::Image::BlendTest

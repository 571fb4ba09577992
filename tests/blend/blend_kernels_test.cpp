// The blend kernels at every level: every mode near a double-precision
// reference, the levels against each other and against the scalar kernel
// within the rounding that each path has on purpose, the compositing step
// over all 8-bit alpha pairs, and the walk's rules (in place, alignment,
// narrow bands, sentinels, reports).

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "blend/blend_reference.h"
#include "image/blend/blend_kernel.h"
#include "blend/blend_test_support.h"
#include "image/shortcuts.h"

namespace OZ::Image::BlendTest {
namespace {

std::uint32_t kernelMode(std::uint32_t mode) {
  const BlendMode effective = effectiveBlendMode(mode);
  return effective == BlendBehind ? std::uint32_t(BlendNormal) : std::uint32_t(effective);
}

// Allowed distance of a stored channel from the reference, in steps of the
// last bit: vector pixels of the four-pixel body round once (at most half a
// step plus float error); scalar pixels quantise M and round again.
template <class Layout>
void expectNear(double reference, typename Layout::Component got, bool wraps, double steps,
                const std::string& where) {
  if constexpr (Layout::isFloat) {
    EXPECT_NEAR(got, reference, 2e-5 * std::max(1.0, std::fabs(reference))) << where;
  } else {
    const double scaled = reference * Layout::white;
    if (wraps) {
      // Out of range the scalar kernels keep the low bits.
      const double modulus = Layout::depth == 8 ? 256.0 : 65536.0;
      double distance = std::fmod(std::fabs(double(got) - scaled), modulus);
      distance = std::min(distance, modulus - distance);
      // Float error grows with the value before the wrap.
      EXPECT_LE(distance, steps + std::fabs(scaled) * 2e-6) << where << " reference " << scaled << " got " << double(got);
    } else {
      EXPECT_NEAR(double(got), std::clamp(scaled, 0.0, double(Layout::white)), steps) << where;
    }
  }
}

// Ties of a choice between two colours flip with the last bit of a sum;
// such pixels say nothing about the formula.
bool nearAChoice(std::uint32_t mode, const Rgb& A, const Rgb& B) {
  if (mode == 6 || mode == 13) return std::fabs(luma(B) - luma(A)) < 1e-3;
  if (mode == 20)
    for (int i = 0; i < 3; ++i)
      if (std::fabs(vividLight(A[i], B[i]) - 0.5) < 1e-3) return true;
  return false;
}

TEST_P(BlendLevelTest, EveryModeNearDoubleReference) {
  const bool vectorLevel = vector();
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(Layout::depth + Layout::alphaFirst);
    const Rect rect{0, 0, 15, 4};
    World a(rect, Layout::bytes), b(rect, Layout::bytes), out(rect, Layout::bytes);
    for (std::uint32_t mode : allModeNumbers()) {
      for (float opacity : {1.0f, 0.7f}) {
        fillRandom<Layout>(a, random, true);
        fillRandom<Layout>(b, random, true);
        this->template blend<Layout>(out, a, b, mode, opacity);
        const std::uint32_t kernel = !vectorLevel && mode == BlendLuminosity ? BlendStencilAlpha : kernelMode(mode);
        const bool behind = effectiveBlendMode(mode) == BlendBehind;
        for (std::int32_t y = rect.y0; y < rect.y1; ++y) {
          const auto [bodyStart, bodyEnd] = fourPixelSpan(out.pixel(0, y), width(rect), Layout::bytes);
          for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
            Pixel<Layout> first = read<Layout>(a, x, y), second = read<Layout>(b, x, y);
            if (behind) std::swap(first, second);
            const Pixel<Layout> got = read<Layout>(out, x, y);
            Rgb A, B;
            for (int i = 0; i < 3; ++i) {
              A[i] = double(first[kRgba<Layout>[i]]) / Layout::white;
              B[i] = double(second[kRgba<Layout>[i]]) / Layout::white;
            }
            if (nearAChoice(kernel, A, B)) continue;
            const bool body = vectorLevel && x >= bodyStart && x < bodyEnd;
            // Scalar rules, also at the vector levels' single pixels of the
            // modes without a lane form; those limit M in 7, 24 and 25.
            const bool scalarRules = !vectorLevel || (!body && !Layout::isFloat &&
                                                      (kernel == 1 || kernel == 6 || kernel == 8 || kernel == 13 ||
                                                       kernel == 15 || (kernel >= 26 && kernel <= 29) ||
                                                       kernel == 34 || kernel == 35));
            const double alphaA = double(first[kRgba<Layout>[3]]) / Layout::white;
            const double alphaB = double(second[kRgba<Layout>[3]]) / Layout::white * opacity;
            const ReferencePixel want =
                referenceBlend(kernel, A, B, alphaA, alphaB, scalarRules && !Layout::isFloat);
            const bool wraps = !Layout::isFloat && scalarRules;
            const double steps = vectorLevel && !scalarRules ? 1.0 : 2.0;
            const std::string where = std::string(blendModeName(kernel)) + " mode " + std::to_string(mode) +
                                      " opacity " + std::to_string(opacity) + " at " + std::to_string(x) + "," +
                                      std::to_string(y);
            for (int i = 0; i < 3; ++i) expectNear<Layout>(want.colour[i], got[kRgba<Layout>[i]], wraps, steps, where);
            expectNear<Layout>(want.alpha, got[kRgba<Layout>[3]], wraps, steps, where + " alpha");
          }
        }
      }
      if (::testing::Test::HasFailure()) return;
    }
  });
}

// Vector levels differ only in instructions, except the 16-bit narrowing
// of SSE4.1 (unsigned pack) against SSE2 and SSSE3 (biased signed pack).
TEST_P(BlendLevelTest, VectorLevelsAgree) {
  if (GetParam().level == KernelLevel::Scalar || GetParam().level == KernelLevel::SSE2)
    GTEST_SKIP() << "compared against SSE2";
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(7 * Layout::depth + Layout::alphaFirst);
    const Rect rect{0, 0, 23, 3};
    World a(rect, Layout::bytes), b(rect, Layout::bytes, 4), out(rect, Layout::bytes), sse2(rect, Layout::bytes);
    int steps = 0, values = 0;
    for (std::uint32_t mode : allModeNumbers())
      for (float opacity : {1.0f, 0.45f, 1.6f}) {
        fillRandom<Layout>(a, random, false);
        fillRandom<Layout>(b, random, false);
        this->template blend<Layout>(out, a, b, mode, opacity);
        blendAt<Layout>(kFlagSSE2, sse2, a, b, mode, opacity);
        for (std::int32_t y = rect.y0; y < rect.y1; ++y)
          for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
            const Pixel<Layout> got = read<Layout>(out, x, y), want = read<Layout>(sse2, x, y);
            for (int k = 0; k < 4; ++k, ++values) {
              if constexpr (Layout::depth == 16) {
                const int distance = std::abs(int(got[k]) - int(want[k]));
                EXPECT_LE(distance, GetParam().level == KernelLevel::SSE41 ? 1 : 0) << "mode " << mode;
                steps += distance;
              } else if constexpr (Layout::isFloat) {
                EXPECT_TRUE(std::memcmp(&got[k], &want[k], 4) == 0 || (std::isnan(got[k]) && std::isnan(want[k])))
                    << "mode " << mode << " at " << x << "," << y << ": " << got[k] << " against " << want[k];
              } else {
                EXPECT_EQ(got[k], want[k]) << "mode " << mode << " at " << x << "," << y;
              }
            }
          }
      }
    // The two narrowings part only within about 2^-9 of a half.
    EXPECT_LT(steps, values / 200);
  });
}

// In range and with an opacity up to 1, a vector level stays within one
// step of the scalar kernel: both round once more or less, one to nearest
// even, one by adding 0.5 and truncating. Not so, by design: 7, 24 and 25,
// whose M the scalar kernels limit and the vector levels do not, and the
// scalar Luminosity, which is followed by the stencil.
TEST_P(BlendLevelTest, VectorWithinOneStepOfScalar) {
  if (!vector()) GTEST_SKIP() << "the scalar kernel is the reference";
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(11 * Layout::depth + Layout::alphaFirst);
    const Rect rect{0, 0, 17, 3};
    World a(rect, Layout::bytes), b(rect, Layout::bytes), out(rect, Layout::bytes), scalar(rect, Layout::bytes);
    for (std::uint32_t mode : allModeNumbers()) {
      const std::uint32_t kernel = kernelMode(mode);
      if (kernel == BlendAdd || kernel == BlendSubtract || kernel == BlendDivide || kernel == BlendLuminosity) continue;
      for (float opacity : {1.0f, 0.6f}) {
        fillRandom<Layout>(a, random, true);
        fillRandom<Layout>(b, random, true);
        this->template blend<Layout>(out, a, b, mode, opacity);
        blendAt<Layout>(0, scalar, a, b, mode, opacity);
        for (std::int32_t y = rect.y0; y < rect.y1; ++y)
          for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
            const Pixel<Layout> got = read<Layout>(out, x, y), want = read<Layout>(scalar, x, y);
            for (int k = 0; k < 4; ++k) {
              if constexpr (Layout::isFloat) {
                // Equal but for the simplified steps of the non-separable modes.
                const float allowed = kernel >= BlendHue && kernel <= BlendColor ? 1e-5f : 0.0f;
                EXPECT_NEAR(got[k], want[k], allowed) << blendModeName(kernel) << " at " << x << "," << y;
              } else {
                // Where the result leaves the range (an own formula divided by
                // a small r) the vector levels saturate and the scalar wraps.
                const bool saturated = got[k] == 0 || got[k] == typename Layout::Component(Layout::white);
                if (!saturated) {
                  EXPECT_LE(std::abs(int(got[k]) - int(want[k])), 1) << blendModeName(kernel) << " at " << x << "," << y;
                }
              }
            }
          }
      }
    }
  });
}

// The compositing step over every pair of 8-bit alphas: B white over A
// black, so the colour is 255 w and the alpha 255 r, each within one step
// of the double-precision value, the vector levels also equal to SSE2.
TEST_P(BlendLevelTest, CompositingOverAllAlphaPairs) {
  forEachLayout([&]<class Layout>() {
    if constexpr (Layout::depth == 8) {
      const Rect rect{0, 0, 256, 256};
      World a(rect, 4), b(rect, 4), out(rect, 4), sse2(rect, 4);
      for (std::int32_t y = 0; y < 256; ++y)
        for (std::int32_t x = 0; x < 256; ++x) {
          Pixel<Layout> backdrop{0, 0, 0, 0}, top{255, 255, 255, 255};
          backdrop[kRgba<Layout>[3]] = std::uint8_t(y);
          top[kRgba<Layout>[3]] = std::uint8_t(x);
          write<Layout>(a, x, y, backdrop);
          write<Layout>(b, x, y, top);
        }
      this->template blend<Layout>(out, a, b, BlendNormal, 1.0f);
      if (vector()) blendAt<Layout>(kFlagSSE2, sse2, a, b, BlendNormal, 1.0f);
      int misses = 0;
      for (std::int32_t y = 0; y < 256 && misses < 10; ++y)
        for (std::int32_t x = 0; x < 256; ++x) {
          const double alphaA = y / 255.0, alphaB = x / 255.0;
          const double r = alphaA + alphaB - alphaA * alphaB, w = r > 0 ? alphaB / r : 0;
          const Pixel<Layout> got = read<Layout>(out, x, y);
          const bool near = std::fabs(got[kRgba<Layout>[3]] - 255 * r) <= 1 && std::fabs(got[kRgba<Layout>[0]] - 255 * w) <= 1;
          const bool sameAsSse2 = !vector() || got == read<Layout>(sse2, x, y);
          if (!near || !sameAsSse2) {
            ++misses;
            ADD_FAILURE() << "alphas " << y << ", " << x << ": colour " << int(got[kRgba<Layout>[0]]) << " alpha "
                          << int(got[kRgba<Layout>[3]]) << " against " << 255 * w << ", " << 255 * r;
          }
        }
    }
  });
}

// The kernels read both pixels before writing one, so an output in the
// memory of A or of B gives what a separate output gets; the scalar
// Luminosity is the exception, as its second kernel reads the first's
// result where the output is A.
// The modes that change alpha alone give the same bytes whether A's colour
// goes through floats or is kept as stored: every alignment of A against
// the output, every opacity kind, in place too.
TEST_P(BlendLevelTest, AlphaModesKeepTheirBytesWithTheColourAsStored) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(17 * Layout::depth + Layout::alphaFirst);
    const Rect rect{0, 0, 19, 3};
    for (const std::uint32_t mode : {BlendStencilAlpha, BlendStencilLuma, BlendSilhouetteAlpha, BlendSilhouetteLuma})
      for (const int offsetA : {0, 4, 8})
        for (const float opacity : {1.0f, 0.45f, 1.6f}) {
          World a(rect, Layout::bytes, offsetA), b(rect, Layout::bytes, 4), general(rect, Layout::bytes),
              kept(rect, Layout::bytes);
          fillRandom<Layout>(a, random, false);
          fillRandom<Layout>(b, random, false);
          restrictShortcuts(~kShortcutBlendColourAsStored);
          this->template blend<Layout>(general, a, b, mode, opacity);
          restrictShortcuts(~Shortcuts(0));
          this->template blend<Layout>(kept, a, b, mode, opacity);
          EXPECT_EQ(kept.storage, general.storage) << "mode " << mode << ", A at " << offsetA << ", opacity " << opacity;
          World inPlace = a;
          SilentProgress progress;
          blendAt<Layout>(GetParam().mask, inPlace.target(), inPlace.source(), b.source(), rect, progress, mode, opacity);
          for (std::int32_t y = rect.y0; y < rect.y1; ++y)
            ASSERT_EQ(std::memcmp(inPlace.pixel(0, y), general.pixel(0, y), std::size_t(width(rect) * Layout::bytes)), 0)
                << "in place, mode " << mode << " row " << y;
        }
  });
}

TEST_P(BlendLevelTest, OutputMayBeEitherInput) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(13 * Layout::depth + Layout::alphaFirst);
    const Rect rect{0, 0, 21, 2};
    for (std::uint32_t mode : allModeNumbers()) {
      // Each separate output at the alignment of the input it stands for:
      // which pixels take the one-pixel path depends on it.
      World a(rect, Layout::bytes, 8), b(rect, Layout::bytes), separateA(rect, Layout::bytes, 8),
          separateB(rect, Layout::bytes);
      fillRandom<Layout>(a, random, false);
      fillRandom<Layout>(b, random, false);
      this->template blend<Layout>(separateA, a, b, mode, 0.8f);
      this->template blend<Layout>(separateB, a, b, mode, 0.8f);
      World intoA = a, intoB = b;
      SilentProgress progress;
      blendAt<Layout>(GetParam().mask, intoA.target(), intoA.source(), b.source(), rect, progress, mode, 0.8f);
      blendAt<Layout>(GetParam().mask, intoB.target(), a.source(), intoB.source(), rect, progress, mode, 0.8f);
      World expectedInA = separateA, expectedInB = separateB;
      if (!vector() && mode == BlendLuminosity) {
        // The stencil reads the Luminosity result from the input it shares.
        World luminosity(rect, Layout::bytes);
        BlendKernelTable<ScalarLevel, Layout>::kernels[BlendLuminosity](luminosity.target(), a.source(), b.source(),
                                                                        rect, 0.8f, progress);
        blendAt<Layout>(0, expectedInA, luminosity, b, BlendStencilAlpha, 0.8f);
        blendAt<Layout>(0, expectedInB, a, luminosity, BlendStencilAlpha, 0.8f);
      }
      for (std::int32_t y = rect.y0; y < rect.y1; ++y)
        for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
          const Pixel<Layout> want = read<Layout>(expectedInB, x, y), wantA = read<Layout>(expectedInA, x, y);
          const Pixel<Layout> inA = read<Layout>(intoA, x, y), inB = read<Layout>(intoB, x, y);
          EXPECT_EQ(std::memcmp(&inA, &wantA, sizeof inA), 0) << "into A, mode " << mode << " at " << x << "," << y;
          EXPECT_EQ(std::memcmp(&inB, &want, sizeof inB), 0) << "into B, mode " << mode << " at " << x << "," << y;
        }
    }
  });
}

// Where a row's output can't reach 16 bytes, or a band is one pixel wide,
// every pixel takes the one-pixel path: the lane form gives the four-pixel
// body's result and the other modes the scalar routine's. Nothing outside
// the band is touched.
TEST_P(BlendLevelTest, NarrowBandsAndUnalignedRowsKeepToTheBand) {
  forEachLayout([&]<class Layout>() {
    std::mt19937 random(17 * Layout::depth + Layout::alphaFirst);
    const Rect rect{-3, 5, 14, 9};
    // Floats are read and written per pixel as 16-byte units: rows stay aligned.
    const int offset = Layout::isFloat ? 0 : 2;
    for (std::uint32_t mode : allModeNumbers()) {
      World a(rect, Layout::bytes), b(rect, Layout::bytes, 4), aligned(rect, Layout::bytes),
          unaligned(rect, Layout::bytes, offset), column(rect, Layout::bytes), scalar(rect, Layout::bytes);
      fillRandom<Layout>(a, random, false);
      fillRandom<Layout>(b, random, false);
      const Rect band{-1, 6, 12, 8}, oneWide{4, 5, 5, 9};
      SilentProgress progress;
      blendAt<Layout>(GetParam().mask, aligned.target(), a.source(), b.source(), band, progress, mode, 0.9f);
      blendAt<Layout>(GetParam().mask, unaligned.target(), a.source(), b.source(), band, progress, mode, 0.9f);
      blendAt<Layout>(GetParam().mask, column.target(), a.source(), b.source(), oneWide, progress, mode, 0.9f);
      const std::uint32_t kernel = kernelMode(mode);
      // The scalar pixel routine alone: the kernel, not the driver (which
      // follows the scalar Luminosity with the stencil).
      BlendKernelTable<ScalarLevel, Layout>::kernels[kernel](scalar.target(), a.source(), b.source(), band, 0.9f,
                                                             progress);
      const bool laneForm = !vector() || Layout::isFloat ? !(kernel == 15 || (kernel >= 26 && kernel <= 29))
                                                         : !(kernel == 1 || kernel == 6 || kernel == 8 || kernel == 13 ||
                                                             kernel == 15 || (kernel >= 26 && kernel <= 29) ||
                                                             kernel == 34 || kernel == 35);
      for (std::int32_t y = rect.y0; y < rect.y1; ++y)
        for (std::int32_t x = rect.x0; x < rect.x1; ++x) {
          const bool inBand = x >= band.x0 && x < band.x1 && y >= band.y0 && y < band.y1;
          const bool inColumn = x == oneWide.x0;
          const std::string where = "mode " + std::to_string(mode) + " at " + std::to_string(x) + "," + std::to_string(y);
          if (!inBand) {
            for (World* world : {&aligned, &unaligned})
              for (int i = 0; i < Layout::bytes; ++i) ASSERT_EQ(world->pixel(x, y)[i], kSentinel) << where;
          }
          if (!inColumn) {
            for (int i = 0; i < Layout::bytes; ++i) ASSERT_EQ(column.pixel(x, y)[i], kSentinel) << where;
          }
          if (!inBand || !vector() || Layout::isFloat) continue;
          // The unaligned row went pixel by pixel.
          const Pixel<Layout> single = read<Layout>(unaligned, x, y);
          const Pixel<Layout> reference = laneForm ? read<Layout>(aligned, x, y) : read<Layout>(scalar, x, y);
          EXPECT_EQ(std::memcmp(&single, &reference, sizeof single), 0) << where;
          if (inColumn) {
            const Pixel<Layout> narrow = read<Layout>(column, x, y);
            EXPECT_EQ(std::memcmp(&narrow, &single, sizeof single), 0) << where;
          }
        }
    }
  });
}

// A report after rows 0, 32, 64... of the band, none for an empty band.
TEST_P(BlendLevelTest, ReportsEveryThirtyTwoRows) {
  const Rect rect{0, 0, 3, 70};
  World a(rect, 4), b(rect, 4), out(rect, 4);
  for (const auto& [rows, reports] : {std::pair{33, 2}, std::pair{32, 1}, std::pair{70, 3}, std::pair{0, 0}}) {
    RecordingProgress progress;
    blendAt<Bgra8>(GetParam().mask, out.target(), a.source(), b.source(), {0, 0, 3, rows}, progress, BlendStencilLuma,
                   1.0f);
    ASSERT_EQ(int(progress.reports.size()), reports) << rows << " rows";
    for (int i = 0; i < reports; ++i) EXPECT_EQ(progress.reports[i], (std::pair<std::int64_t, std::int64_t>(32 * i, rows)));
  }
}

INSTANTIATE_TEST_SUITE_P(Levels, BlendLevelTest, ::testing::ValuesIn(kLevels), levelName);

}  // namespace
}  // namespace OZ::Image::BlendTest

// The blur node in a graph: what it does to simple images, its two passes on
// the host's threads, and what an abort leaves behind.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "image/exception.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/processor_flags.h"
#include "image/shortcuts.h"
#include "support/filter_run.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

MakeFilter blur(float sigmaX, float sigmaY, std::int32_t orderX = 0, std::int32_t orderY = 0) {
  return [=](FilterNode* input) {
    return std::make_unique<GaussianBlurFilter<FilterHost>>(input, BlurSigmas{sigmaX, sigmaY, 0.0f}, orderX, orderY);
  };
}

template <class T>
std::vector<T> asValues(const std::vector<unsigned char>& bytes) {
  std::vector<T> values(bytes.size() / sizeof(T));
  std::memcpy(values.data(), bytes.data(), bytes.size());
  return values;
}

template <class T>
std::vector<unsigned char> asBytes(const std::vector<T>& values) {
  std::vector<unsigned char> bytes(values.size() * sizeof(T));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

std::vector<unsigned char> randomImage(const FilterRun& run, unsigned seed) {
  std::mt19937 generator(seed);
  std::vector<unsigned char> bytes(run.rowBytes() * std::size_t(run.height));
  if (formatDepth(run.format) == 32) {
    std::vector<float> values(bytes.size() / 4);
    for (float& value : values) value = float(generator() % 1000) / 999.0f;
    return asBytes(values);
  }
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator());
  if (formatDepth(run.format) == 16)
    for (std::size_t i = 1; i < bytes.size(); i += 2) bytes[i] &= 0x7F;  // keep 16-bit samples within 0..32767
  return bytes;
}

class ForcedLevel {
 public:
  explicit ForcedLevel(ProcessorFlags mask) { restrictProcessorFlags(mask); }
  ~ForcedLevel() { restrictProcessorFlags(~ProcessorFlags(0)); }
};

}  // namespace

TEST(BlurFilter, ZeroDeviationPassesTheImageThrough) {
  for (PixelFormatCode format : {formatCode("argb"), formatCode("Bgra")}) {
    for (ProcessorFlags mask : {ProcessorFlags(0), kFlagSSE2}) {
      ForcedLevel level(mask);
      FilterRun run(format, 23, 17, 2);
      const auto input = randomImage(run, 3);
      run.setInput(input);
      run.render(blur(0.0f, 0.0f));
      EXPECT_EQ(run.outputBytes(), input);
    }
  }
}

TEST(BlurFilter, AConstantImageKeepsItsValueAtTheStartAndRisesAtTheEnd) {
  FilterRun run(formatCode("ARgb"), 90, 90, 2);
  run.setInput(asBytes(std::vector<float>(std::size_t(90 * 90 * 4), 0.5f)));
  run.render(blur(5.0f, 5.0f));
  const std::vector<float> out = asValues<float>(run.outputBytes());
  auto at = [&](int x, int y) { return out[std::size_t((y * 90 + x) * 4 + 1)]; };
  EXPECT_NEAR(at(0, 0), 0.5f, 1e-4f);
  EXPECT_NEAR(at(45, 45), 0.5f, 1e-3f);  // the recursion only approximates the Gaussian
  // The backward filter starts high by n0 × e: about 8 percent at σ 5.
  const DericheCoefficients coefficients(5.0, 0);
  const float rise = float(coefficients.n0 * coefficients.norm);
  EXPECT_GT(at(89, 45), 0.5f * 1.05f);
  EXPECT_LT(at(89, 45), 0.5f * (1.0f + rise) + 1e-4f);
  EXPECT_GT(at(45, 89), 0.5f * 1.05f);
  EXPECT_NEAR(at(60, 45), 0.5f, 1e-3f);  // decays within about 3 σ
}

TEST(BlurFilter, ARadiusBeyondTheImageStillBlurs) {
  FilterRun run(formatCode("bgra"), 12, 7, 3);
  run.setInput(std::vector<unsigned char>(run.rowBytes() * 7, 77));
  run.render(blur(30.0f, 45.0f));
  // Every edge estimate is the constant itself; only the backward start's
  // excess, which here spans the whole image, lifts the result.
  const DericheCoefficients wide(45.0, 0);
  for (unsigned char value : run.outputBytes()) {
    EXPECT_GE(value, 77);
    EXPECT_LE(value, 77 * (1.0 + 2 * wide.n0 * wide.norm) + 1);
  }
  EXPECT_EQ(run.fixture.standIn.liveHandles(), 0u);
}

TEST(BlurFilter, AnyThreadCountGivesTheSameImage) {
  for (PixelFormatCode format : {formatCode("argb"), formatCode("Bgra"), formatCode("BGra")}) {
    std::vector<unsigned char> reference;
    for (int threads : {1, 2, 5}) {
      FilterRun run(format, 41, 33, threads);
      run.setInput(randomImage(run, 9));
      run.render(blur(4.0f, 2.5f, 1, 0));
      if (reference.empty()) reference = run.outputBytes();
      EXPECT_EQ(run.outputBytes(), reference) << threads << " threads";
    }
  }
}

TEST(BlurFilter, TheVectorFamilyStaysWithinOneStepOfTheScalarOne) {
  for (PixelFormatCode format : {formatCode("argb"), formatCode("Argb"), formatCode("ARgb")}) {
    std::vector<unsigned char> results[2];
    for (int family = 0; family < 2; ++family) {
      ForcedLevel level(family ? kFlagSSE2 : 0);
      FilterRun run(format, 37, 29, 2);
      run.setInput(randomImage(run, 21));
      run.render(blur(6.0f, 3.0f));
      results[family] = run.outputBytes();
    }
    const int depth = formatDepth(format);
    if (depth == 32) {
      const auto scalar = asValues<float>(results[0]), vector = asValues<float>(results[1]);
      for (std::size_t i = 0; i < scalar.size(); ++i)
        ASSERT_LE(std::fabs(scalar[i] - vector[i]), 2e-5f * std::fmax(std::fabs(scalar[i]), 1e-3f)) << i;
    } else if (depth == 16) {
      const auto scalar = asValues<std::uint16_t>(results[0]), vector = asValues<std::uint16_t>(results[1]);
      for (std::size_t i = 0; i < scalar.size(); ++i) ASSERT_LE(std::abs(int(scalar[i]) - int(vector[i])), 1) << i;
    } else {
      for (std::size_t i = 0; i < results[0].size(); ++i)
        ASSERT_LE(std::abs(int(results[0][i]) - int(results[1][i])), 1) << i;
    }
  }
}

TEST(BlurFilter, AnAbortInEitherPassFreesEverything) {
  const std::int32_t size = 100;
  FilterRun probe(formatCode("argb"), size, size, 2);
  probe.render(blur(3.0f, 3.0f));
  const auto trace = probe.fixture.standIn.progressTrace();
  // The first pass counts the intermediate's rows, the second goes on from there.
  int firstOfSecondPass = 0;
  while (firstOfSecondPass < int(trace.size()) && trace[firstOfSecondPass].first < size + 6) ++firstOfSecondPass;
  ASSERT_LT(firstOfSecondPass + 1, int(trace.size()));
  for (int abortAt : {2, firstOfSecondPass + 1}) {
    FilterRun run(formatCode("argb"), size, size, 2);
    run.fixture.standIn.faults.abortOnProgress = abortAt;
    EXPECT_THROW(run.render(blur(3.0f, 3.0f)), OZ::Interrupted) << abortAt;
    EXPECT_EQ(run.fixture.standIn.liveHandles(), 0u);
    EXPECT_EQ(run.fixture.standIn.liveWorlds(), 0u);
  }
}

// A full desaturation and the levels it took in, taken into the blur: the
// bytes of the three nodes apart, whether the first pass reads through them
// (float, levels with an offset) or the blur renders the desaturation
// first (8 and 16 bits, or levels that end at 0); progress still rises to
// the same three units, and an abort while the blur renders the
// desaturation frees everything.
TEST(BlurFilter, TakesInTheDesaturationAndItsLevelsWithTheirBytes) {
  struct Mapping {
    float black, white;
  };
  auto chain = [](Mapping m) {
    return std::vector<MakeFilter>{
        [=](FilterNode* in) {
          return std::make_unique<BalanceFilter<FilterHost>>(in, true, m.black, m.white, 0.0f, 1.0f, 1.0f);
        },
        [](FilterNode* in) { return std::make_unique<HSVCCFilter<FilterHost>>(in, 0.0f, 0.0f, 1.0f); },
        blur(7.0f, 4.0f)};
  };
  for (const PixelFormatCode format : {formatCode("BGra"), formatCode("ARgb"), formatCode("Bgra"), formatCode("argb")})
    for (const Mapping mapping : {Mapping{0.11f, 0.165f}, Mapping{0.0f, 0.5f}})
      for (const ProcessorFlags mask : {~ProcessorFlags(0), kFlagSSE2, ProcessorFlags(0)}) {
        SCOPED_TRACE(testing::Message() << std::hex << format << std::dec << ", black " << mapping.black << ", mask "
                                        << mask);
        ForcedLevel level(mask);
        std::vector<unsigned char> input, apart;
        std::vector<std::pair<A_long, A_long>> trace;
        for (const Shortcuts shortcuts : {~kShortcutDesaturationIntoBlur, ~Shortcuts(0)}) {
          FilterRun run(format, 45, 33, 2);
          if (input.empty()) input = randomImage(run, 5);
          run.setInput(input);
          restrictShortcuts(shortcuts);
          run.render(chain(mapping));
          restrictShortcuts(~Shortcuts(0));
          if (trace.empty()) {
            apart = run.outputBytes();
            trace = run.fixture.standIn.progressTrace();
            continue;
          }
          EXPECT_EQ(run.outputBytes(), apart);
          const auto taken = run.fixture.standIn.progressTrace();
          ASSERT_FALSE(taken.empty());
          EXPECT_EQ(taken.back(), trace.back());
          for (std::size_t i = 1; i < taken.size(); ++i) EXPECT_LE(taken[i - 1].first, taken[i].first) << i;
        }
      }
  FilterRun run(formatCode("argb"), 100, 100, 2);
  run.fixture.standIn.faults.abortOnProgress = 3;
  EXPECT_THROW(run.render(chain({0.11f, 0.165f})), OZ::Interrupted);
  EXPECT_EQ(run.fixture.standIn.liveHandles(), 0u);
  EXPECT_EQ(run.fixture.standIn.liveWorlds(), 0u);
}
